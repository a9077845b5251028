#include "kelm/collections/letter_case.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>

#include "kelm/base/utf16.h"

namespace kelm {

namespace {

/// With the other case of an ASCII letter from `first` to `last`.
char mappedAscii(char c, char first, char last) {
  return c >= first && c <= last ? static_cast<char>(c ^ ('a' ^ 'A')) : c;
}

std::string mappedAscii(std::string_view text, char first, char last) {
  std::string mapped(text);
  for (char& c : mapped)
    c = mappedAscii(c, first, last);
  return mapped;
}

bool needsUnicode(std::string_view text) { return !isAscii(text) && isValidUtf8(text); }

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

std::string utf8(const icu::UnicodeString& text) {
  std::string out;
  return text.toUTF8String(out);
}

}  // namespace

std::string lowerCased(std::string_view text) {
  if (!needsUnicode(text)) return mappedAscii(text, 'A', 'Z');
  return utf8(unicode(text).toLower(icu::Locale::getRoot()));
}

std::string upperCased(std::string_view text) {
  if (!needsUnicode(text)) return mappedAscii(text, 'a', 'z');
  return utf8(unicode(text).toUpper(icu::Locale::getRoot()));
}

bool equalInUpperCase(std::string_view a, std::string_view b) {
  if (!isAscii(a) || !isAscii(b)) return upperCased(a) == upperCased(b);
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return mappedAscii(x, 'a', 'z') == mappedAscii(y, 'a', 'z');
  });
}

}  // namespace kelm
