#include "kelm/crypto/vasp_crypto_utils.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kelm/base/utf8.h"
#include "kelm/crypto/hexadecimal.h"
#include "kelm/platform/random.h"

namespace kelm {

namespace {

constexpr std::uint8_t kNoDigit = 16;

constexpr auto kDigitValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t i = 0; i < 10; ++i)
    values['0' + i] = i;
  for (std::uint8_t i = 0; i < 6; ++i)
    values['a' + i] = values['A' + i] = static_cast<std::uint8_t>(10 + i);
  return values;
}();

std::uint8_t digit(char c) { return kDigitValues[static_cast<unsigned char>(c)]; }

void fillWithRandom(std::span<std::uint8_t> bytes) {
  platform::Random& random = *platform::current<platform::Random>();
  if (!random.fill(bytes)) random.fillFromFallback(bytes);
}

/// The low 8 bits of every UTF-16 unit but the blanks.
std::string lowBytesWithoutBlanks(std::string_view text) {
  std::string low;
  low.reserve(text.size());
  const auto bits = [&text](std::size_t at) {
    return static_cast<unsigned char>(text[at]) & 0x3FU;
  };
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) {
      low += '\xFD';  // U+FFFD
    } else if (length == 1) {
      if (text[at] != ' ') low += text[at];
    } else {
      const std::size_t last = at + length - 1;
      if (length == 4) {  // the high surrogate: bits 10 to 17 of the scalar less 0x10000
        const unsigned top = (static_cast<unsigned char>(text[at]) & 7U) << 8 | bits(at + 1) << 2 |
                             bits(at + 2) >> 4;
        low += static_cast<char>(top - 0x40U);
      }
      low += static_cast<char>(bits(last - 1) << 6 | bits(last));
    }
    at += std::max<std::size_t>(length, 1);
  }
  return low;
}

std::uint8_t valueOfPair(char first, char second) {
  const std::uint8_t high = digit(first);
  const std::uint8_t low = digit(second);
  if (high != kNoDigit) return low == kNoDigit ? high : static_cast<std::uint8_t>(high << 4 | low);
  if (low == kNoDigit) return 0;
  if (first == '-') return static_cast<std::uint8_t>(-low);
  const bool isSkipped = first == '+' || first == ' ' || (first >= '\t' && first <= '\r');
  return isSkipped ? low : 0;
}

}  // namespace

Data VaspCryptoUtils::getRandom(std::uint32_t count) {
  Data bytes(count);
  fillWithRandom(bytes);
  return bytes;
}

std::uint32_t VaspCryptoUtils::getRandomUnsignedInt() {
  std::array<std::uint8_t, 4> bytes{};
  fillWithRandom(bytes);
  std::uint32_t number;
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

std::optional<Data> VaspCryptoUtils::xorData_withData(std::optional<DataView> a,
                                                      std::optional<DataView> b) {
  if (!a || !b || a->size() != b->size()) return std::nullopt;
  Data result(a->begin(), a->end());
  for (std::size_t i = 0; i < result.size(); ++i)
    result[i] ^= (*b)[i];
  return result;
}

std::string VaspCryptoUtils::hexadecimalStringOfData(std::optional<DataView> bytes) {
  return hexText(bytes.value_or(DataView()), kLowerHex);
}

Data VaspCryptoUtils::dataFromHexadecimalString(std::string_view text) {
  const bool isPlain = std::none_of(text.begin(), text.end(), [](char c) {
    return c == ' ' || static_cast<unsigned char>(c) >= 0x80;
  });
  const std::string narrowed = isPlain ? std::string() : lowBytesWithoutBlanks(text);
  if (!isPlain) text = narrowed;
  Data bytes;
  bytes.reserve((text.size() + 1) / 2);
  std::size_t at = text.size() % 2;
  if (at == 1) bytes.push_back(valueOfPair('0', text[0]));
  for (; at < text.size(); at += 2)
    bytes.push_back(valueOfPair(text[at], text[at + 1]));
  return bytes;
}

}  // namespace kelm
