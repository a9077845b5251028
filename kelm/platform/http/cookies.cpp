#include "kelm/platform/http/cookies.h"

#include <libpsl.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "kelm/base/ascii.h"
#include "kelm/base/describe.h"
#include "kelm/base/ip_address.h"
#include "kelm/platform/clock.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kMaxCookieBytes = 4096;
constexpr Date kLongPast{-std::numeric_limits<double>::max()};

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool isAddress(std::string_view host) {
  return host.find(':') != std::string_view::npos || isIpv4Address(host);
}

/// Section 5.1.3, `domain` without leading dot.
bool domainMatches(std::string_view host, std::string_view domain) {
  if (host == domain) return true;
  return host.size() > domain.size() && host.ends_with(domain) &&
         host[host.size() - domain.size() - 1] == '.' && !isAddress(host);
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
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), isAsciiDigit))
    return std::nullopt;
  std::int64_t seconds = 0;
  const auto outcome = std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
  if (negative || (outcome.ec == std::errc() && seconds == 0)) return kLongPast;
  if (outcome.ec != std::errc()) seconds = std::numeric_limits<std::int32_t>::max();
  return Date{now.secondsSince1970 + static_cast<double>(seconds)};
}

Cookie::SameSite sameSiteOf(std::string_view text) {
  if (equalsIgnoringCase(text, "strict")) return Cookie::SameSite::Strict;
  if (equalsIgnoringCase(text, "lax")) return Cookie::SameSite::Lax;
  if (equalsIgnoringCase(text, "none")) return Cookie::SameSite::None;
  return Cookie::SameSite::Unset;
}

/// Attributes of a Set-Cookie field while they are read; of repeated ones the last counts.
struct Attributes {
  std::string domain;
  std::string path;
  std::optional<Date> expires;
  std::optional<Date> maxAge;
  bool secure = false;
  bool httpOnly = false;
  Cookie::SameSite sameSite = Cookie::SameSite::Unset;

  void read(std::string_view name, std::string_view value, Date now) {
    if (equalsIgnoringCase(name, "expires")) {
      if (const auto date = parseCookieDate(value)) expires = date;
    } else if (equalsIgnoringCase(name, "max-age")) {
      if (const auto moment = momentOfMaxAge(value, now)) maxAge = moment;
    } else if (equalsIgnoringCase(name, "domain")) {
      if (value.starts_with('.')) value.remove_prefix(1);
      if (!value.empty()) domain = asciiLowered(value);
    } else if (equalsIgnoringCase(name, "path")) {
      path = value.starts_with('/') ? std::string(value) : std::string();
    } else if (equalsIgnoringCase(name, "secure")) {
      secure = true;
    } else if (equalsIgnoringCase(name, "httponly")) {
      httpOnly = true;
    } else if (equalsIgnoringCase(name, "samesite")) {
      sameSite = sameSiteOf(value);
    }
  }
};

/// The public suffixes that the system knows: the newer of the library's own list and its file.
const psl_ctx_t* publicSuffixes() {
  static const psl_ctx_t* const kList = psl_latest(nullptr);
  return kList;
}

/// Fills in whom the cookie is for; false when a server of `url` must not speak for that domain.
/// Names in lower case: the list answers otherwise for upper case.
bool applyDomain(Cookie& cookie, const std::string& domain, const std::optional<Url>& url) {
  if (!url) {
    cookie.domain = domain.empty() ? "" : '.' + domain;
    return true;
  }
  const std::string& host = url->host();
  cookie.domain = host;
  if (domain.empty()) return true;
  if (domain == host && (isAddress(host) || psl_is_public_suffix(publicSuffixes(), host.c_str())))
    return true;  // for this host alone
  cookie.domain = '.' + domain;
  return domainMatches(host, domain) &&
         psl_is_cookie_domain_acceptable(publicSuffixes(), host.c_str(), domain.c_str()) == 1;
}

/// "__Secure-" and "__Host-" are promises that a server can only keep over https.
bool keepsPromiseOfName(const Cookie& cookie, const Attributes& attributes) {
  const auto startsWith = [&](std::string_view prefix) {
    return equalsIgnoringCase(std::string_view(cookie.name).substr(0, prefix.size()), prefix);
  };
  if (startsWith("__Secure-")) return cookie.secure;
  if (startsWith("__Host-"))
    return cookie.secure && attributes.domain.empty() && attributes.path == "/";
  return true;
}

std::string secureUrl(const std::string& host, const std::string& path) {
  const bool isIpv6 = host.find(':') != std::string::npos;
  return "https://" + (isIpv6 ? '[' + host + ']' : host) + path;
}

std::string_view withoutDot(std::string_view domain) {
  return domain.starts_with('.') ? domain.substr(1) : domain;
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

std::optional<Cookie> parseCookie(std::string_view field, const std::optional<Url>& url, Date now) {
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
  cookie.sameSite = attributes.sameSite;
  cookie.path = attributes.path.empty() ? defaultPath(url ? url->path() : "/") : attributes.path;
  if (cookie.secure && url && url->scheme() == "http") return std::nullopt;
  if (!keepsPromiseOfName(cookie, attributes)) return std::nullopt;
  if (!applyDomain(cookie, attributes.domain, url)) return std::nullopt;
  return cookie;
}

bool isSentTo(const Cookie& cookie, const Url& url, Date now) {
  if (cookie.expires && *cookie.expires <= now) return false;
  if (cookie.secure && url.scheme() != "https") return false;
  const std::string domain = asciiLowered(cookie.domain);
  const bool matches = domain.starts_with('.') ? domainMatches(url.host(), withoutDot(domain))
                                               : url.host() == domain;
  return matches && pathMatches(url.path(), cookie.path);
}

bool wouldHideSecure(const Cookie& cookie, const Cookie& kept) {
  if (cookie.secure || !kept.secure || cookie.name != kept.name) return false;
  const std::string domain = asciiLowered(withoutDot(cookie.domain));
  const std::string keptDomain = asciiLowered(withoutDot(kept.domain));
  return (domainMatches(domain, keptDomain) || domainMatches(keptDomain, domain)) &&
         pathMatches(cookie.path, kept.path);
}

void CookieStorage::setReceived(const Cookie& cookie, const Url& url) {
  if (url.scheme() == "http")
    for (const Cookie& kept : cookiesFor(secureUrl(url.host(), cookie.path)))
      if (wouldHideSecure(cookie, kept)) return;
  set(cookie);
}

std::optional<std::vector<Cookie>> cookiesFor(const UrlSessionConfiguration& session,
                                              const std::optional<std::string>& url) {
  if (!session.cookies || !url) return std::nullopt;
  return session.cookies->cookiesFor(*url);
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
  static constexpr std::string_view kSameSites[] = {"", "none", "lax", "strict"};
  if (cookie.sameSite != Cookie::SameSite::Unset)
    appendAttribute(text, "samesite", kSameSites[static_cast<std::size_t>(cookie.sameSite)]);
  return text;
}

std::vector<Cookie> cookiesFromHeaders(const Dictionary& headers, std::string_view url) {
  std::vector<Cookie> cookies;
  const std::optional<Url> origin = Url::parse(url);
  const Date now = current<Clock>()->now();
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
