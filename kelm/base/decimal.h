#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "kelm/base/export.h"

namespace kelm {

/// An exact decimal number: up to 38 digits times a power of ten from -128 to 127, with a sign; no
/// NaN, no infinity, no negative zero. Nothing rounds: what does not fit is absent. A value type.
class KELM_API Decimal {
 public:
  static constexpr int kMostDigits = 38;
  static constexpr int kLeastExponent = -128;
  static constexpr int kMostExponent = 127;

  constexpr Decimal() = default;
  template <std::integral T>
  requires(!std::same_as<T, bool>) constexpr Decimal(
      T number)  // NOLINT(google-explicit-constructor)
      : Decimal(number < 0, magnitudeOf(number)) {}
  /// A double would bring its own error.
  template <std::floating_point T>
  Decimal(T number) = delete;

  /// The number that a text spells: a sign or none, digits with one "." or none among them, and an
  /// exponent ("e-3") or none. Absent for every other text, and when the number does not fit.
  /// Linear in the text's length.
  static std::optional<Decimal> fromText(std::string_view text);
  /// The very number that a double is; absent for NaN, infinity, and when it takes more than 38
  /// digits, as 0.1 does.
  static std::optional<Decimal> exactly(double number);

  /// The shortest text, laid out as doubles are: 12.5, 100000, 1e+21, 1e-7. fromText() reads it.
  std::string text() const;
  bool isZero() const { return high_ == 0 && low_ == 0; }
  bool isNegative() const { return isNegative_; }
  /// Truncated towards zero, clamped to the range.
  std::int64_t integer() const;
  /// The nearest double.
  double real() const;
  /// The number itself when it is one of these integers.
  std::optional<std::int64_t> exactSigned() const;
  std::optional<std::uint64_t> exactUnsigned() const;

  std::strong_ordering operator<=>(const Decimal& other) const;
  bool operator==(const Decimal&) const = default;

 private:
  static constexpr std::uint64_t kLimb = 10'000'000'000'000'000'000U;

  template <std::integral T>
  static constexpr std::uint64_t magnitudeOf(T number) {
    const auto bits = static_cast<std::uint64_t>(number);
    return std::is_signed_v<T> && number < 0 ? 0 - bits : bits;
  }
  constexpr Decimal(bool isNegative, std::uint64_t magnitude)
      : high_(magnitude / kLimb), low_(magnitude % kLimb), isNegative_(isNegative) {
    normalise();
  }
  constexpr void normalise();
  std::string digits() const;
  /// The integer part as long as it has 64 bits.
  std::optional<std::uint64_t> integerPart() const;

  // The digits are high_ * 10^19 + low_, without a zero at their end that the exponent could take;
  // so each number has one form.
  std::uint64_t high_ = 0;
  std::uint64_t low_ = 0;
  std::int16_t exponent_ = 0;
  bool isNegative_ = false;
};

constexpr void Decimal::normalise() {
  while (low_ % 10 == 0 && (high_ | low_) != 0 && exponent_ < kMostExponent) {
    low_ = low_ / 10 + high_ % 10 * (kLimb / 10);
    high_ /= 10;
    ++exponent_;
  }
}

}  // namespace kelm
