#include "kelm/network/url_syntax.h"

#include <algorithm>
#include <cstddef>

namespace kelm {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isAmong(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }
bool isPlain(char c) { return isAlpha(c) || isDigit(c) || isAmong(c, "-._~:/?@!$&'()*+,;="); }

bool isScheme(std::string_view text) {
  return !text.empty() && isAlpha(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
    return isAlpha(c) || isDigit(c) || isAmong(c, "+-.");
  });
}

/// Plain characters and whole percent escapes.
bool isWellWritten(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isPlain(text[i])) continue;
    if (text[i] != '%' || i + 2 >= text.size()) return false;
    if (!isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
    i += 2;
  }
  return true;
}

/// [user@]host[:port], where the host may be an IP literal in brackets.
bool isAuthority(std::string_view text) {
  const std::size_t open = text.find('[');
  if (open == std::string_view::npos) return isWellWritten(text);
  const std::size_t close = text.find(']', open);
  if (close == std::string_view::npos) return false;
  const std::string_view user = text.substr(0, open);
  const std::string_view port = text.substr(close + 1);
  return (user.empty() || user.back() == '@') && isWellWritten(user) &&
         isWellWritten(text.substr(open + 1, close - open - 1)) &&
         (port.empty() || port[0] == ':') &&
         std::all_of(port.begin() + !port.empty(), port.end(), isDigit);
}

}  // namespace

bool isFormableUrl(std::string_view url) {
  if (url.empty()) return false;
  const std::size_t colon = url.find(':');
  if (colon != std::string_view::npos && colon < url.find_first_of("/?#")) {
    if (!isScheme(url.substr(0, colon))) return false;
    url.remove_prefix(colon + 1);
  }
  if (url.starts_with("//")) {
    url.remove_prefix(2);
    const std::size_t end = std::min(url.find_first_of("/?#"), url.size());
    if (!isAuthority(url.substr(0, end))) return false;
    url.remove_prefix(end);
  }
  const std::size_t mark = std::min(url.find('#'), url.size());
  return isWellWritten(url.substr(0, mark)) &&
         (mark == url.size() || isWellWritten(url.substr(mark + 1)));
}

}  // namespace kelm
