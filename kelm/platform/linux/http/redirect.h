#pragma once

#include <optional>
#include <string>

#include "kelm/platform/http/url_session.h"

namespace kelm::platform::url_sessions {

/// True for the statuses of RFC 9110, section 15.4, that lead elsewhere by themselves.
bool isRedirect(long status);

/// Returns the request that follows a redirect: 303, and 301 and 302 of a POST, become a GET
/// without a body. What is for the first server only (credentials, cookies, "Host", sensitive
/// headers) does not go to another origin.
UrlRequest redirected(const UrlRequest& request, long status, std::string_view location);

/// Why `to` must not follow `from`: a URL that cannot be sent, or one that is not as secure.
std::optional<Error> redirectProblem(const UrlRequest& from, const UrlRequest& to);

}  // namespace kelm::platform::url_sessions
