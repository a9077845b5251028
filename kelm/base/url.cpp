#include "kelm/base/url.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "kelm/base/ascii.h"
#include "kelm/base/ip_address.h"

namespace kelm {

namespace {

bool isAmong(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

/// Unreserved characters, those of `others`, and whole percent escapes.
bool isWellWritten(std::string_view text, std::string_view others) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isAsciiAlphanumeric(text[i]) || isAmong(text[i], "-._~") || isAmong(text[i], others))
      continue;
    if (text[i] != '%' || i + 2 >= text.size()) return false;
    if (!isAsciiHexDigit(text[i + 1]) || !isAsciiHexDigit(text[i + 2])) return false;
    i += 2;
  }
  return true;
}

constexpr std::string_view kInPath = "!$&'()*+,;=:@/";
constexpr std::string_view kInQuery = "!$&'()*+,;=:@/?";
constexpr std::string_view kInUserInfo = "!$&'()*+,;=:";

bool isScheme(std::string_view text) {
  return !text.empty() && isAsciiAlpha(text[0]) &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return isAsciiAlphanumeric(c) || isAmong(c, "+-."); });
}

/// The parts of a reference as they are written (RFC 3986, appendix B).
struct Parts {
  std::optional<std::string_view> scheme, authority, query, fragment;
  std::string_view path;
};

Parts split(std::string_view text) {
  Parts parts;
  if (const std::size_t hash = text.find('#'); hash != std::string_view::npos) {
    parts.fragment = text.substr(hash + 1);
    text = text.substr(0, hash);
  }
  if (const std::size_t mark = text.find('?'); mark != std::string_view::npos) {
    parts.query = text.substr(mark + 1);
    text = text.substr(0, mark);
  }
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos && colon < text.find('/')) {
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    const std::size_t end = std::min(text.find('/', 2), text.size());
    parts.authority = text.substr(2, end - 2);
    text.remove_prefix(end);
  }
  parts.path = text;
  return parts;
}

bool isWellWritten(const Parts& parts) {
  return (!parts.scheme || isScheme(*parts.scheme)) && isWellWritten(parts.path, kInPath) &&
         isWellWritten(parts.query.value_or(""), kInQuery) &&
         isWellWritten(parts.fragment.value_or(""), kInQuery);
}

/// Section 5.2.4, for a path that begins with "/".
std::string withoutDotSegments(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/', 1), path.size());
    const std::string_view segment = path.substr(0, end);
    path.remove_prefix(end);
    const bool isLast = path.empty();
    if (segment == "/..") result.resize(std::min(result.rfind('/'), result.size()));
    if (segment != "/.." && segment != "/.")
      result.append(segment);
    else if (isLast)
      result += '/';
  }
  return result;
}

/// The normal form of a name or an IPv4 address; absent for one that could be read in several ways.
std::optional<std::string> hostName(std::string_view text) {
  const auto isPlain = [](char c) { return isAsciiAlphanumeric(c) || isAmong(c, "-._~"); };
  if (text.empty() || !std::all_of(text.begin(), text.end(), isPlain)) return std::nullopt;
  if (text.front() == '.' || text.find("..") != std::string_view::npos) return std::nullopt;
  std::string name = asciiLowered(text);
  std::string_view last = name;
  if (last.ends_with('.')) last.remove_suffix(1);
  last.remove_prefix(last.rfind('.') + 1);  // npos + 1 is 0
  const bool isNumber =
      std::all_of(last.begin(), last.end(), isAsciiDigit) ||
      (last.starts_with("0x") && std::all_of(last.begin() + 2, last.end(), isAsciiHexDigit));
  if (isNumber && !isIpv4Address(name)) return std::nullopt;
  return name;
}

std::uint16_t defaultPort(std::string_view scheme) {
  return scheme == "https" ? 443 : scheme == "http" ? 80 : 0;
}

}  // namespace

bool Url::setAuthority(std::string_view authority) {
  if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
    if (!isWellWritten(authority.substr(0, at), kInUserInfo)) return false;
    userInfo_ = authority.substr(0, at);
    authority.remove_prefix(at + 1);
  }
  std::size_t end = authority.find(':');
  if (authority.starts_with('[')) {
    end = authority.find(']');
    if (end == std::string_view::npos) return false;
    const auto address = canonicalIpv6Address(authority.substr(1, end++ - 1));
    if (!address) return false;
    host_ = *address;
  } else {
    const auto name = hostName(authority.substr(0, end));
    if (!name) return false;
    host_ = *name;
  }
  port_ = defaultPort(scheme_);
  authority.remove_prefix(std::min(end, authority.size()));
  if (authority.empty() || authority == ":") return true;
  const std::string_view digits = authority.substr(1);
  const auto [stop, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), port_);
  return authority[0] == ':' && problem == std::errc() && stop == digits.data() + digits.size();
}

void Url::setPath(std::string_view path) { path_ = path.empty() ? "/" : withoutDotSegments(path); }

std::optional<Url> Url::parse(std::string_view text) {
  const Parts parts = split(text);
  if (!parts.scheme || !parts.authority || !isWellWritten(parts)) return std::nullopt;
  Url url;
  url.scheme_ = asciiLowered(*parts.scheme);
  if (!url.setAuthority(*parts.authority)) return std::nullopt;
  url.setPath(parts.path);
  if (parts.query) url.query_ = *parts.query;
  return url;
}

std::optional<Url> Url::resolve(std::string_view reference) const {
  const Parts parts = split(reference);
  if (parts.scheme) return parse(reference);
  if (!isWellWritten(parts)) return std::nullopt;
  Url url = *this;
  if (parts.authority) {
    url.userInfo_.reset();
    if (!url.setAuthority(*parts.authority)) return std::nullopt;
    url.setPath(parts.path);
  } else if (parts.path.starts_with('/')) {
    url.setPath(parts.path);
  } else if (!parts.path.empty()) {
    url.setPath(path_.substr(0, path_.rfind('/') + 1).append(parts.path));
  }
  if (parts.query)
    url.query_ = *parts.query;
  else if (parts.authority || !parts.path.empty())
    url.query_.reset();
  return url;
}

bool Url::isReference(std::string_view text) {
  const Parts parts = split(text);
  if (text.empty() || !isWellWritten(parts)) return false;
  if (!parts.authority) return true;
  const std::string_view scheme = parts.scheme.value_or("http");
  const bool needsHost = equalsIgnoringCase(scheme, "http") || equalsIgnoringCase(scheme, "https");
  return (parts.authority->empty() && !needsHost) || Url().setAuthority(*parts.authority);
}

std::string Url::hostText() const {
  return host_.find(':') == std::string::npos ? host_ : '[' + host_ + ']';
}

std::string Url::text() const {
  std::string text = scheme_ + "://";
  if (userInfo_) text.append(*userInfo_).append("@");
  text += hostText();
  if (port_ != defaultPort(scheme_)) text.append(":").append(std::to_string(port_));
  text += path_;
  if (query_) text.append("?").append(*query_);
  return text;
}

std::string Url::origin() const {
  return scheme_ + "://" + hostText() + ':' + std::to_string(port_);
}

}  // namespace kelm
