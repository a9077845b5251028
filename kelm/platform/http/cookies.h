#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/url.h"
#include "kelm/platform/http/url_session.h"

// The rules of RFC 6265 that every session and cookie storage shares, with the prefixes, the
// protection of Secure cookies and "SameSite" of its successor's draft.
namespace kelm::platform {

/// Returns the cookie of one Set-Cookie field. Absent when it is malformed, longer than 4096 bytes,
/// or not for a server of `url` to set; a public suffix is nobody's to set but for its own host
/// alone. Without `url` every domain is accepted.
KELM_API std::optional<Cookie> parseCookie(std::string_view field, const std::optional<Url>& url,
                                           Date now);

/// Returns a date as cookies write it (section 5.1.1); absent when malformed.
KELM_API std::optional<Date> parseCookieDate(std::string_view text);

/// True if the cookie is to be sent to `url` at `now`.
KELM_API bool isSentTo(const Cookie& cookie, const Url& url, Date now);

/// True if `cookie`, sent over plain http, would take the place of the Secure cookie `kept`, or
/// stand beside it where that is sent.
KELM_API bool wouldHideSecure(const Cookie& cookie, const Cookie& kept);

/// Returns "a=1; b=2", empty for none. Cookies that hold a control character are left out.
KELM_API std::string cookieHeader(const std::vector<Cookie>& cookies);

/// Returns what a session would send to `url`; absent if it keeps no cookies or there is no URL.
KELM_API std::optional<std::vector<Cookie>> cookiesFor(const UrlSessionConfiguration& session,
                                                       const std::optional<std::string>& url);

/// True for a text with a C0 control other than the tab, or DEL.
KELM_API bool hasControl(std::string_view text);

}  // namespace kelm::platform
