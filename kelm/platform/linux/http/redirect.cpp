#include "kelm/platform/linux/http/redirect.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kelm/base/ascii.h"
#include "kelm/base/url.h"

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

/// Meant for the one server that the request named.
bool isForOneServer(std::string_view name) {
  constexpr std::string_view kNames[] = {"Authorization", "Cookie", "Host", "Proxy-Authorization"};
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [&](std::string_view own) { return equalsIgnoringCase(own, name); });
}

bool describesBody(std::string_view name) {
  return name.size() > 8 && equalsIgnoringCase(name.substr(0, 8), "Content-");
}

/// Servers write what RFC 3986 forbids into "Location", too: blanks, letters beyond ASCII, quotes,
/// brackets behind the host. They mean its escaped form.
std::string escaped(std::string_view location) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  constexpr std::string_view kForbidden = " \"<>\\^`{|}";
  std::string result;
  bool isBehindHost = false;
  for (const char c : location) {
    const auto byte = static_cast<unsigned char>(c);
    isBehindHost = isBehindHost || c == '?';
    const bool isBracket = isBehindHost && (c == '[' || c == ']');
    if (byte < 0x80 && !isBracket && kForbidden.find(c) == std::string_view::npos)
      result += c;
    else
      (result += '%').append({kHexDigits[byte >> 4], kHexDigits[byte & 15]});
  }
  return result;
}

}  // namespace

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

UrlRequest redirected(const UrlRequest& request, long status, std::string_view location) {
  UrlRequest next = request;
  const bool isPost = request.method == "POST";
  if ((status == 303 && request.method != "HEAD") || (isPost && (status == 301 || status == 302))) {
    next.method = "GET";
    next.body.reset();
    removeHeaders(next.headers, describesBody);
  }
  const auto from = Url::parse(*request.url);
  const auto to = from ? from->resolve(escaped(location)) : std::nullopt;
  if (!to || to->origin() != from->origin()) {
    removeHeaders(next.headers, [&](std::string_view name) {
      return isForOneServer(name) || request.isSensitive(name);
    });
  }
  next.url = to ? to->text() : std::string(location);
  return next;
}

std::optional<Error> redirectProblem(const UrlRequest& from, const UrlRequest& to) {
  if (auto problem = requestProblem(to)) return problem;
  if (!Url::parse(*from.url)->isSecure() || Url::parse(*to.url)->isSecure()) return std::nullopt;
  Error error = urlError(url_error::kUnsupportedUrl, *to.url);
  error.userInfo.set("NSLocalizedDescription", "A redirect from https to http was refused.");
  return error;
}

}  // namespace kelm::platform::url_sessions
