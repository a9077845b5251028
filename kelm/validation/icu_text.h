#pragma once

#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace kelm {

/// UTF-8 as ICU's text, malformed bytes as U+FFFD; and back.
inline icu::UnicodeString icuText(std::string_view utf8) {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max() / 4;
  const std::size_t size = std::min(utf8.size(), kMost);
  return icu::UnicodeString::fromUTF8({utf8.data(), static_cast<std::int32_t>(size)});
}
inline std::string utf8Text(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

}  // namespace kelm
