#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/platform/http/url_session.h"

// The rules of RFC 6265 that every session and cookie storage shares.
namespace kelm::platform {

/// What cookies look at of a URL; all empty when it names no host.
struct UrlOrigin {
  std::string scheme;  ///< lower case
  std::string host;    ///< lower case, without brackets
  std::string path;    ///< from the first "/", without query
};
KELM_API UrlOrigin originOf(std::string_view url);

/// The cookie of one Set-Cookie field; absent when it is malformed, longer than 4096 bytes, or
/// not for a server of `origin` to set. An origin without host accepts every domain.
KELM_API std::optional<Cookie> parseCookie(std::string_view field, const UrlOrigin& origin,
                                           Date now);

/// A date as cookies write it (section 5.1.1); absent when malformed.
KELM_API std::optional<Date> parseCookieDate(std::string_view text);

/// True when the cookie is to be sent to `origin` at `now`.
KELM_API bool isSentTo(const Cookie& cookie, const UrlOrigin& origin, Date now);

/// "a=1; b=2", empty for none. Cookies that hold a control character are left out.
KELM_API std::string cookieHeader(const std::vector<Cookie>& cookies);

/// True for a C0 control other than the tab, and DEL.
bool hasControl(std::string_view text);
bool equalsIgnoringCase(std::string_view a, std::string_view b);

constexpr bool isAsciiAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
constexpr char asciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

}  // namespace kelm::platform
