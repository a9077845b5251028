#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"

namespace kelm {

/// The check digit of card numbers and the like (ISO/IEC 7812-1, annex B), also where it does not
/// stand last. Texts of any length; characters are UTF-16 code units, and whatever is no ASCII
/// digit counts as a position of value 0: take blanks and hyphens out first. Nothing is logged.
/// Without state; any thread may call.
class KELM_API KelmLuhnCheck {
 public:
  /// `doLuhnCheckWithString:` With the check digit last. True for an absent or empty text.
  bool doLuhnCheckWithString(std::optional<std::string_view> text) const;
  /// `doLuhnCheckWithString:checksumPosition:` With the check digit at `position`; a negative one
  /// counts from the end, -1 being the last. A position outside of the text counts as the last.
  bool doLuhnCheckWithString_checksumPosition(std::optional<std::string_view> text,
                                              std::int32_t position) const;
  /// `repositionChecksumDigitWithString:checksumPosition:` The text with the character at
  /// `position` moved to its end; unchanged for a position outside of it. Absent for absent.
  std::optional<std::string> repositionChecksumDigitWithString_checksumPosition(
      std::optional<std::string_view> text, std::int32_t position) const;
  /// `luhnTest:` The check itself, with the check digit last.
  bool luhnTest(std::optional<std::string_view> text) const;
  /// `toCharArrayFromString:` A text for each character; for half of a surrogate pair U+FFFD.
  std::vector<std::string> toCharArrayFromString(std::optional<std::string_view> text) const;
  /// `deleteCharInString:atPosition:` Raises a range failure (`Exception`) outside of the text.
  std::string deleteCharInString_atPosition(std::string_view text, std::int32_t position) const;

  /// `doLuhnModNCheckWithString:checksumPosition:` False for an absent text and for a position
  /// behind its end or before its start. Raises a range failure at the very end; else it ends the
  /// process, as `generateCheckDigit` does.
  bool doLuhnModNCheckWithString_checksumPosition(std::optional<std::string_view> text,
                                                  std::int32_t position) const;
  /// `generateCheckDigit:` Not provided: ends the process with a trap rather than make up a digit.
  [[noreturn]] std::int64_t generateCheckDigit(std::optional<std::string_view> text) const;
  /// `getLuhnChecksumDigitWith:` Not provided: raises a range failure for every text.
  [[noreturn]] std::int64_t getLuhnChecksumDigitWith(std::optional<std::string_view> text) const;
};

}  // namespace kelm
