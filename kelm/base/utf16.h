#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// A range of text in UTF-16 code units.
struct TextRange {
  static constexpr std::int64_t kNotFound = std::numeric_limits<std::int64_t>::max();

  std::int64_t location = kNotFound;
  std::int64_t length = 0;

  bool found() const { return location != kNotFound; }
  bool operator==(const TextRange&) const = default;
};

/// Positions in UTF-8 text, counted in UTF-16 code units. Every malformed byte counts as one unit
/// and reads as U+FFFD (the maximal-subpart practice of the Unicode standard, D93b, is not used:
/// one unit a byte). ASCII text costs one pass, and nothing for counting a known-ASCII text.
KELM_API std::size_t utf16Length(std::string_view utf8);

/// The part of `utf8` from unit `location` on, `length` units long; clamped to the text. A cut
/// inside a surrogate pair shows U+FFFD in place of each half.
KELM_API std::string utf16Substring(std::string_view utf8, std::size_t location,
                                    std::size_t length);

/// The byte at which unit `location` starts; inside a pair, where the pair starts. The text's
/// size when `location` lies at or past its end.
KELM_API std::size_t utf16ByteOffset(std::string_view utf8, std::size_t location);

KELM_API bool isAscii(std::string_view text);
/// RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF.
KELM_API bool isValidUtf8(std::string_view text);
/// The text with every malformed byte replaced by U+FFFD.
KELM_API std::string repairedUtf8(std::string_view text);

}  // namespace kelm
