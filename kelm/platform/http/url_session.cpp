#include "kelm/platform/http/url_session.h"

#include <algorithm>

#include "kelm/base/ascii.h"
#include "kelm/base/describe.h"
#include "kelm/base/url.h"
#include "kelm/platform/http/cookies.h"

namespace kelm::platform {

Slot<UrlSessions>& UrlSessions::slot() {
  static constinit Slot<UrlSessions> held;
  return held;
}

namespace {

struct Sentence {
  std::int64_t code;
  std::string_view text;
};
constexpr Sentence kSentences[] = {
    {url_error::kCancelled, "The exchange was cancelled."},
    {url_error::kBadUrl, "The URL is malformed."},
    {url_error::kTimedOut, "The exchange timed out."},
    {url_error::kUnsupportedUrl, "The URL's scheme is not supported."},
    {url_error::kCannotFindHost, "The host was not found."},
    {url_error::kCannotConnectToHost, "The host does not accept a connection."},
    {url_error::kConnectionLost, "The connection was lost."},
    {url_error::kTooManyRedirects, "The server redirected too often."},
    {url_error::kBadServerResponse, "The server's answer is malformed."},
    {url_error::kSecureConnectionFailed, "A secure connection could not be made."},
    {url_error::kServerCertificateUntrusted, "The server's certificate is not trusted."},
    {url_error::kClientCertificateRequired, "The server demands a client certificate."},
    {url_error::kProxyFailed, "The proxy could not be reached, or refused."},
    {url_error::kDataLengthExceedsMaximum, "The body is longer than the limit."},
};

/// RFC 9110, section 5.6.2.
bool isTokenCharacter(char c) {
  return isAsciiAlphanumeric(c) || c == '-' ||
         std::string_view("!#$%&'*+.^_`|~").find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

std::optional<std::int64_t> urlProblem(std::string_view text) {
  const auto url = Url::parse(text);
  if (url && (url->scheme() == "http" || url->scheme() == "https")) return std::nullopt;
  const std::string_view scheme = text.substr(0, text.find(':'));
  const bool isForeign = Url::isReference(text) && scheme.size() < text.size() &&
                         scheme.find_first_of("/?#") == std::string_view::npos &&
                         !equalsIgnoringCase(scheme, "http") &&
                         !equalsIgnoringCase(scheme, "https");
  return isForeign ? url_error::kUnsupportedUrl : url_error::kBadUrl;
}

/// The text with "***" in place of its password. In one that is no URL everything from the first
/// colon behind the scheme to the last "@" may be one.
std::string withoutPassword(std::string_view text) {
  std::string result(text);
  const std::size_t scheme = result.find("://");
  const auto url = Url::parse(text);
  if (scheme == std::string::npos || (url && !url->userInfo())) return result;
  const std::size_t start = scheme + 3;
  const std::size_t at = url ? result.find('@', start) : result.rfind('@');
  const std::size_t colon = result.find(':', start);
  if (at != std::string::npos && colon < at) result.replace(colon + 1, at - colon - 1, "***");
  return result;
}

Error refusal(const UrlRequest& request, std::string_view sentence) {
  Error error = urlError(url_error::kBadUrl, request.url ? *request.url : std::string());
  error.userInfo.set("NSLocalizedDescription", sentence);
  return error;
}

}  // namespace

std::optional<std::string_view> UrlRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers)
    if (equalsIgnoringCase(key, name))
      if (const auto text = value.text()) return text;
  return std::nullopt;
}

bool UrlRequest::isSensitive(std::string_view name) const {
  return std::any_of(sensitiveHeaders.begin(), sensitiveHeaders.end(),
                     [&](const std::string& own) { return equalsIgnoringCase(own, name); });
}

std::optional<Error> requestProblem(const UrlRequest& request) {
  if (!request.url) return urlError(url_error::kBadUrl);
  if (const auto code = urlProblem(*request.url)) return urlError(*code, *request.url);
  const auto isLower = [](char c) { return c >= 'a' && c <= 'z'; };
  if (!isToken(request.method) ||
      std::any_of(request.method.begin(), request.method.end(), isLower))
    return refusal(request, "The method is not a token in upper case.");
  for (const auto& [name, value] : request.headers) {
    if (!isToken(name)) return refusal(request, "The name of a header is malformed.");
    if (hasControl(value.text() ? *value.text() : describe(value)))
      return refusal(request, "The value of the header " + name + " is malformed.");
  }
  return std::nullopt;
}

std::string curlCommand(const UrlRequest& request) {
  const auto quoted = [](std::string_view text) {
    std::string result = "'";
    for (const char c : text)
      result.append(c == '\'' ? "'\\''" : std::string(1, c));
    return result += '\'';
  };
  std::string command = "curl -X " + quoted(request.method);
  for (const auto& [name, value] : request.headers) {
    const bool isSecret = request.isSensitive(name) || equalsIgnoringCase(name, "Authorization") ||
                          equalsIgnoringCase(name, "Cookie") ||
                          equalsIgnoringCase(name, "Proxy-Authorization");
    const std::string shown = value.text() ? std::string(*value.text()) : describe(value);
    command.append(" -H ").append(quoted(name + ": " + (isSecret ? "***" : shown)));
  }
  if (request.body) {
    const std::string_view body = textOf(*request.body);
    // A shell's argument holds no NUL; such a body is reported by its size.
    const bool isText = body.find('\0') == std::string_view::npos;
    command.append(" --data-binary ")
        .append(isText ? quoted(body) : "@body-of-" + std::to_string(body.size()) + "-bytes");
  }
  return command.append(" ").append(quoted(withoutPassword(request.url.value_or(""))));
}

Error urlError(std::int64_t code, std::string_view url) {
  const auto* sentence = std::find_if(std::begin(kSentences), std::end(kSentences),
                                      [&](const Sentence& s) { return s.code == code; });
  const bool known = sentence != std::end(kSentences);
  Error error =
      Error::make(error_domain::kUrl, code, known ? sentence->text : "The exchange failed.");
  if (!url.empty()) error.userInfo.set("NSErrorFailingURLStringKey", withoutPassword(url));
  return error;
}

}  // namespace kelm::platform
