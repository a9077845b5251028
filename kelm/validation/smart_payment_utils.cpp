#include "kelm/validation/smart_payment_utils.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

#include "kelm/base/format.h"
#include "kelm/base/utf16.h"
#include "kelm/validation/icu_text.h"
#include "kelm/validation/mod97.h"

namespace kelm {

namespace {

/// For any character: the sum is reduced once it is above the limit, and may wrap before.
std::int64_t wrappingMod97(std::string_view text) {
  constexpr std::uint64_t kReducedAbove = 42'949'671;
  std::uint64_t sum = 0;
  const icu::UnicodeString units = icuText(repairedUtf8(text));
  for (std::int32_t at = 0; at < units.length(); ++at) {
    const std::uint32_t unit = units.charAt(at);
    std::uint64_t value = unit - '0';
    if (unit - '0' >= 10)
      value = static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(unit) - 55});
    sum = sum * (value < 10 ? 10 : 100) + value;
    if (sum > kReducedAbove) sum %= 97;
  }
  return static_cast<std::int64_t>(sum % 97);
}

}  // namespace

std::int64_t SmartPaymentUtils::calculateMod97(std::optional<std::string_view> text) {
  if (!text) return 0;
  const auto value = [&](std::size_t at) {
    return kIbanValues[static_cast<std::uint8_t>((*text)[at])];
  };
  Mod97 sum;
  std::size_t at = 0;
  for (; at + 2 <= text->size(); at += 2) {
    const std::uint8_t first = value(at);
    const std::uint8_t second = value(at + 1);
    if ((first | second) == kNoIbanCharacter) return wrappingMod97(*text);
    sum.append(first, second);
  }
  if (at < text->size()) {
    if (value(at) == kNoIbanCharacter) return wrappingMod97(*text);
    sum.append(value(at));
  }
  return sum.remainder();
}

bool SmartPaymentUtils::isBankModulo11(std::optional<std::string_view> text) {
  if (!text || utf16Length(*text) < 2) return false;
  std::uint64_t sum = 0;
  std::uint64_t weight = 1;
  // The first character may take several bytes, and its second unit, if any, is no digit.
  const std::size_t first = utf16ByteOffset(*text, 1);
  if (first == 0) return false;
  for (std::size_t at = text->size(); at > first; --at) {
    const char c = (*text)[at - 1];
    if (c < '0' || c > '9') return false;
    sum += static_cast<std::uint64_t>(c - '0') * weight;
    weight *= 2;
  }
  return static_cast<std::int64_t>(sum) % 11 == 0;
}

std::string SmartPaymentUtils::crc32(std::optional<std::string_view> text) {
  constexpr std::size_t kMost = std::numeric_limits<uInt>::max();
  std::string_view rest = text.value_or(std::string_view());
  rest = rest.substr(0, rest.find('\0'));
  uLong sum = ::crc32(0, nullptr, 0);
  while (!rest.empty()) {
    const std::string_view piece = rest.substr(0, std::min(rest.size(), kMost));
    sum =
        ::crc32(sum, reinterpret_cast<const Bytef*>(piece.data()), static_cast<uInt>(piece.size()));
    rest.remove_prefix(piece.size());
  }
  return format("%08lX", sum);
}

}  // namespace kelm
