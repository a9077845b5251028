#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace kelm {

/// What a byte stands for in an IBAN: 0 to 35, or kNoIbanCharacter.
inline constexpr std::uint8_t kNoIbanCharacter = 0xFF;
inline constexpr std::array<std::uint8_t, 256> kIbanValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoIbanCharacter);
  for (std::uint8_t i = 0; i < 10; ++i)
    values['0' + i] = i;
  for (std::uint8_t i = 0; i < 26; ++i)
    values['A' + i] = static_cast<std::uint8_t>(10 + i);
  return values;
}();

/// The remainder modulo 97 of a number that grows by characters of an IBAN.
class Mod97 {
 public:
  /// `value` is at most 35.
  void append(std::uint8_t value) { grow(factorOf(value), value); }
  /// Both at once, which waits for one multiplication instead of two.
  void append(std::uint8_t first, std::uint8_t second) {
    grow(factorOf(first) * factorOf(second), first * factorOf(second) + second);
  }
  std::int64_t remainder() const { return static_cast<std::int64_t>(number_ % 97); }

 private:
  static std::uint64_t factorOf(std::uint8_t value) { return value < 10 ? 10 : 100; }
  void grow(std::uint64_t factor, std::uint64_t value) {
    constexpr std::uint64_t kRoomForFourDigits = std::uint64_t{1} << 50;
    number_ = number_ * factor + value;
    if (number_ >= kRoomForFourDigits) number_ %= 97;
  }

  std::uint64_t number_ = 0;
};

}  // namespace kelm
