#include "kelm/platform/http/cookies.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <limits>

#include "kelm/base/describe.h"
#include "kelm/platform/clock.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kMaxCookieBytes = 4096;
constexpr Date kLongPast{-std::numeric_limits<double>::max()};

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), asciiLower);
  return result;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool looksLikeAddress(std::string_view host) {
  return host.find(':') != std::string_view::npos ||
         host.find_first_not_of("0123456789.") == std::string_view::npos;
}

/// Section 5.1.3, `domain` without leading dot.
bool domainMatches(std::string_view host, std::string_view domain) {
  if (host == domain) return true;
  return host.size() > domain.size() && host.ends_with(domain) &&
         host[host.size() - domain.size() - 1] == '.' && !looksLikeAddress(host);
}

/// Section 5.1.4.
bool pathMatches(std::string_view requested, std::string_view path) {
  if (!requested.starts_with(path)) return false;
  return requested.size() == path.size() || path.ends_with('/') || requested[path.size()] == '/';
}

std::string defaultPath(std::string_view requested) {
  const std::size_t last = requested.rfind('/');
  return last == 0 || last == std::string_view::npos ? "/" : std::string(requested.substr(0, last));
}

/// Splits at the first `separator`; the second part is empty when there is none.
std::pair<std::string_view, std::string_view> cut(std::string_view text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string_view::npos) return {text, {}};
  return {text.substr(0, at), text.substr(at + 1)};
}

/// The moment that a Max-Age names; absent when it is no number.
std::optional<Date> momentOfMaxAge(std::string_view text, Date now) {
  const bool negative = text.starts_with('-');
  const std::string_view digits = text.substr(negative ? 1 : 0);
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigit)) return std::nullopt;
  std::int64_t seconds = 0;
  const auto outcome = std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
  if (negative || (outcome.ec == std::errc() && seconds == 0)) return kLongPast;
  if (outcome.ec != std::errc()) seconds = std::numeric_limits<std::int32_t>::max();
  return Date{now.secondsSince1970 + static_cast<double>(seconds)};
}

/// Attributes of a Set-Cookie field while they are read; of repeated ones the last counts.
struct Attributes {
  std::string domain;
  std::string path;
  std::optional<Date> expires;
  std::optional<Date> maxAge;
  bool secure = false;
  bool httpOnly = false;

  void read(std::string_view name, std::string_view value, Date now) {
    if (equalsIgnoringCase(name, "expires")) {
      if (const auto date = parseCookieDate(value)) expires = date;
    } else if (equalsIgnoringCase(name, "max-age")) {
      if (const auto moment = momentOfMaxAge(value, now)) maxAge = moment;
    } else if (equalsIgnoringCase(name, "domain")) {
      if (value.starts_with('.')) value.remove_prefix(1);
      if (!value.empty()) domain = lowered(value);
    } else if (equalsIgnoringCase(name, "path")) {
      path = value.starts_with('/') ? std::string(value) : std::string();
    } else if (equalsIgnoringCase(name, "secure")) {
      secure = true;
    } else if (equalsIgnoringCase(name, "httponly")) {
      httpOnly = true;
    }
  }
};

/// False when a server of `origin` must not speak for the cookie's domain. A domain without a dot
/// inside, such as "com", is no one's to set; longer public suffixes are not known here.
bool applyDomain(Cookie& cookie, const std::string& domain, const UrlOrigin& origin) {
  if (domain.empty() || domain == origin.host) {
    cookie.domain = domain.empty() || looksLikeAddress(domain) ? origin.host : '.' + domain;
    return true;
  }
  if (!origin.host.empty() && !domainMatches(origin.host, domain)) return false;
  cookie.domain = '.' + domain;
  return domain.find('.') != std::string::npos || origin.host.empty();
}

/// Where the next cookie of a joined field starts: after a comma that a "name=" follows. The comma
/// inside a date is followed by a day, which has no "=" before the next ";" or blank.
std::size_t endOfCookie(std::string_view joined) {
  for (std::size_t comma = joined.find(','); comma != std::string_view::npos;
       comma = joined.find(',', comma + 1)) {
    const std::size_t name = joined.find_first_not_of(" \t", comma + 1);
    if (name == std::string_view::npos) continue;
    const std::size_t stop = joined.find_first_of("=;, \t", name);
    if (stop != std::string_view::npos && stop > name && joined[stop] == '=') return comma;
  }
  return joined.size();
}

void appendAttribute(std::string& text, std::string_view name, std::string_view value) {
  text.append("; ").append(name).append("=").append(value);
}

}  // namespace

bool hasControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7F;
  });
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return asciiLower(x) == asciiLower(y);
         });
}

UrlOrigin originOf(std::string_view url) {
  const std::size_t colon = url.find("://");
  if (colon == std::string_view::npos) return {};
  const std::string_view rest = url.substr(colon + 3);
  const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
  std::string_view authority = rest.substr(0, end);
  if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
    authority.remove_prefix(at + 1);
  std::string_view host = authority.substr(0, authority.find(':'));
  if (authority.starts_with('[')) host = authority.substr(1, authority.find(']') - 1);
  const std::string_view path = rest.substr(end, rest.find_first_of("?#", end) - end);
  return {lowered(url.substr(0, colon)), lowered(host), path.empty() ? "/" : std::string(path)};
}

std::optional<Cookie> parseCookie(std::string_view field, const UrlOrigin& origin, Date now) {
  auto [pair, rest] = cut(field, ';');
  const std::size_t equals = pair.find('=');
  if (equals == std::string_view::npos || field.size() > kMaxCookieBytes) return std::nullopt;
  Cookie cookie;
  cookie.name = trimmed(pair.substr(0, equals));
  cookie.value = trimmed(pair.substr(equals + 1));
  if (cookie.name.empty() || hasControl(pair)) return std::nullopt;
  Attributes attributes;
  while (!rest.empty()) {
    const auto [attribute, others] = cut(rest, ';');
    const auto [name, value] = cut(attribute, '=');
    attributes.read(trimmed(name), trimmed(value), now);
    rest = others;
  }
  cookie.secure = attributes.secure;
  cookie.httpOnly = attributes.httpOnly;
  cookie.expires = attributes.maxAge ? attributes.maxAge : attributes.expires;
  cookie.path = attributes.path.empty() ? defaultPath(origin.path) : attributes.path;
  if (cookie.secure && origin.scheme == "http") return std::nullopt;
  if (!applyDomain(cookie, attributes.domain, origin)) return std::nullopt;
  return cookie;
}

bool isSentTo(const Cookie& cookie, const UrlOrigin& origin, Date now) {
  if (cookie.expires && *cookie.expires <= now) return false;
  if (cookie.secure && origin.scheme != "https") return false;
  const std::string domain = lowered(cookie.domain);
  const bool matches = domain.starts_with('.')
                           ? domainMatches(origin.host, std::string_view(domain).substr(1))
                           : origin.host == domain;
  return !origin.host.empty() && matches && pathMatches(origin.path, cookie.path);
}

std::string cookieHeader(const std::vector<Cookie>& cookies) {
  std::string header;
  for (const Cookie& cookie : cookies) {
    if (hasControl(cookie.name) || hasControl(cookie.value)) continue;
    if (!header.empty()) header += "; ";
    header.append(cookie.name).append("=").append(cookie.value);
  }
  return header;
}

std::string describe(const Cookie& cookie) {
  std::string text = cookie.name + '=' + cookie.value;
  if (!cookie.domain.empty()) appendAttribute(text, "domain", cookie.domain);
  appendAttribute(text, "path", cookie.path);
  if (cookie.expires) appendAttribute(text, "expires", kelm::describe(*cookie.expires));
  if (cookie.secure) text += "; secure";
  if (cookie.httpOnly) text += "; httponly";
  return text;
}

std::vector<Cookie> cookiesFromHeaders(const Dictionary& headers, std::string_view url) {
  std::vector<Cookie> cookies;
  const UrlOrigin origin = originOf(url);
  const Date now = platform::current<platform::Clock>()->now();
  for (const auto& [name, value] : headers) {
    if (!equalsIgnoringCase(name, "set-cookie")) continue;
    std::string_view joined = value.text().value_or("");
    while (!joined.empty()) {
      const std::size_t end = endOfCookie(joined);
      if (auto cookie = parseCookie(trimmed(joined.substr(0, end)), origin, now))
        cookies.push_back(*std::move(cookie));
      joined.remove_prefix(std::min(end + 1, joined.size()));
    }
  }
  return cookies;
}

}  // namespace kelm::platform
