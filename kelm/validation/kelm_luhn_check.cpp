#include "kelm/validation/kelm_luhn_check.h"

#include <algorithm>
#include <array>

#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/base/utf16.h"
#include "kelm/base/utf8.h"

namespace kelm {

namespace {

using Values = std::array<std::uint8_t, 256>;

/// What each byte adds where it counts once, and where it counts twice.
constexpr Values kPlain = [] {
  Values values{};
  for (std::uint8_t digit = 0; digit < 10; ++digit)
    values['0' + digit] = digit;
  return values;
}();
constexpr Values kDoubled = [] {
  Values values{};
  for (std::uint8_t digit = 0; digit < 10; ++digit)
    values['0' + digit] = static_cast<std::uint8_t>(2 * digit / 10 + 2 * digit % 10);
  return values;
}();

/// For a text with a byte a position; absent when it has bytes that are not ASCII.
std::optional<bool> outcome(std::string_view text) {
  const char* left = text.data();
  const char* const end = left + text.size();
  std::uint8_t seen = 0;
  const auto next = [&] {
    const auto byte = static_cast<std::uint8_t>(*left++);
    seen |= byte;
    return byte;
  };
  std::uint32_t plain = text.size() % 2 == 1 ? kPlain[next()] : 0;
  std::uint32_t doubled = 0;
  while (left != end) {
    doubled += kDoubled[next()];
    plain += kPlain[next()];
  }
  if (seen >= 0x80) return std::nullopt;
  return static_cast<std::int32_t>(plain + doubled) % 10 == 0;
}

/// Hands the bytes of every character to `take`, a malformed byte alone, and its UTF-16 units.
template <class Take>
void forEachCharacter(std::string_view text, Take take) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = std::max<std::size_t>(sequenceLength(text, at), 1);
    take(text.substr(at, length), length == 4 ? std::size_t{2} : std::size_t{1});
    at += length;
  }
}

/// The text with one byte a UTF-16 code unit: what is not ASCII has the value 0.
std::string withAByteAUnit(std::string_view text) {
  std::string bytes;
  forEachCharacter(text, [&](std::string_view character, std::size_t units) {
    bytes.append(units, isAscii(character) ? character.front() : ' ');
  });
  return bytes;
}

[[noreturn]] void raiseRange(std::int64_t position, std::size_t length) {
  throw Exception(exception_name::kRange,
                  format("Range or index out of bounds: %@ of %@", position, length));
}

bool isInside(std::int32_t position, std::size_t length) {
  return position >= 0 && static_cast<std::size_t>(position) < length;
}

}  // namespace

bool KelmLuhnCheck::doLuhnCheckWithString(std::optional<std::string_view> text) const {
  return luhnTest(text);
}

bool KelmLuhnCheck::doLuhnCheckWithString_checksumPosition(std::optional<std::string_view> text,
                                                           std::int32_t position) const {
  if (!text || position == -1) return luhnTest(text);
  if (position < 0) {
    const auto length = static_cast<std::int64_t>(utf16Length(*text));
    position = static_cast<std::int32_t>(static_cast<std::uint32_t>(length + position));
  }
  return luhnTest(repositionChecksumDigitWithString_checksumPosition(text, position));
}

std::optional<std::string> KelmLuhnCheck::repositionChecksumDigitWithString_checksumPosition(
    std::optional<std::string_view> text, std::int32_t position) const {
  if (!text) return std::nullopt;
  if (!isInside(position, utf16Length(*text))) return std::string(*text);
  return deleteCharInString_atPosition(*text, position) +
         utf16Substring(*text, static_cast<std::size_t>(position), 1);
}

bool KelmLuhnCheck::luhnTest(std::optional<std::string_view> text) const {
  if (!text) return true;
  const std::optional<bool> passes = outcome(*text);
  return passes ? *passes : *outcome(withAByteAUnit(*text));
}

std::vector<std::string> KelmLuhnCheck::toCharArrayFromString(
    std::optional<std::string_view> text) const {
  std::vector<std::string> characters;
  if (!text) return characters;
  forEachCharacter(*text, [&](std::string_view character, std::size_t units) {
    for (std::size_t unit = 0; unit < units; ++unit)
      characters.push_back(utf16Substring(character, unit, 1));
  });
  return characters;
}

std::string KelmLuhnCheck::deleteCharInString_atPosition(std::string_view text,
                                                         std::int32_t position) const {
  const std::size_t length = utf16Length(text);
  if (!isInside(position, length)) raiseRange(position, length);
  const auto at = static_cast<std::size_t>(position);
  return utf16Substring(text, 0, at) + utf16Substring(text, at + 1, length - at - 1);
}

bool KelmLuhnCheck::doLuhnModNCheckWithString_checksumPosition(std::optional<std::string_view> text,
                                                               std::int32_t position) const {
  if (!text) return false;
  const std::size_t length = utf16Length(*text);
  if (position < 0 || length < static_cast<std::size_t>(position)) return false;
  generateCheckDigit(deleteCharInString_atPosition(*text, position));
}

std::int64_t KelmLuhnCheck::generateCheckDigit(std::optional<std::string_view>) const {
  __builtin_trap();
}

std::int64_t KelmLuhnCheck::getLuhnChecksumDigitWith(std::optional<std::string_view> text) const {
  raiseRange(-1, utf16Length(text.value_or(std::string_view())));
}

}  // namespace kelm
