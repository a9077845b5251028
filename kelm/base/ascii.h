#pragma once

#include <algorithm>
#include <string>
#include <string_view>

// Letters and digits of ASCII, whatever the process's locale is.
namespace kelm {

constexpr bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isAsciiAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isAsciiAlphanumeric(char c) { return isAsciiDigit(c) || isAsciiAlpha(c); }
constexpr bool isAsciiHexDigit(char c) {
  return isAsciiDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
/// Returns the text with its ASCII letters in lower case.
inline std::string asciiLowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), asciiLower);
  return result;
}
/// True if the texts are equal but for the case of ASCII letters.
inline bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return asciiLower(x) == asciiLower(y);
         });
}

}  // namespace kelm
