#include "kelm/platform/linux/http/redirect.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kelm/platform/http/cookies.h"

namespace kelm::platform::url_sessions {

namespace {

template <class Predicate>
void removeHeaders(Dictionary& headers, const Predicate& matches) {
  std::vector<std::string> names;
  for (const auto& [name, value] : headers)
    if (matches(name)) names.push_back(name);
  for (const std::string& name : names)
    headers.remove(name);
}

bool isCredential(std::string_view name) {
  return equalsIgnoringCase(name, "Authorization") || equalsIgnoringCase(name, "Cookie");
}

bool describesBody(std::string_view name) {
  return name.size() > 8 && equalsIgnoringCase(name.substr(0, 8), "Content-");
}

/// Scheme, host and port as they are written.
std::string_view authorityOf(std::string_view url) {
  const std::size_t start = std::min(url.find("://"), url.size() - 1) + 3;
  return url.substr(0, url.find_first_of("/?#", std::min(start, url.size())));
}

}  // namespace

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

UrlRequest redirected(const UrlRequest& request, long status, std::string location) {
  UrlRequest next = request;
  const bool isPost = request.method == "POST";
  if ((status == 303 && request.method != "HEAD") || (isPost && (status == 301 || status == 302))) {
    next.method = "GET";
    next.body.reset();
    removeHeaders(next.headers, describesBody);
  }
  if (!equalsIgnoringCase(authorityOf(*request.url), authorityOf(location)))
    removeHeaders(next.headers, isCredential);
  next.url = std::move(location);
  return next;
}

std::optional<Error> redirectProblem(const UrlRequest& from, const UrlRequest& to) {
  if (auto problem = requestProblem(to)) return problem;
  if (originOf(*from.url).scheme != "https" || originOf(*to.url).scheme == "https")
    return std::nullopt;
  Error error = urlError(url_error::kUnsupportedUrl, *to.url);
  error.userInfo.set("NSLocalizedDescription", "A redirect from https to http was refused.");
  return error;
}

}  // namespace kelm::platform::url_sessions
