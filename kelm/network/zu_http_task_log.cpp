#include <string>
#include <string_view>
#include <utility>

#include "kelm/base/format.h"
#include "kelm/base/utf16.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/network/zu_http_task_state.h"
#include "kelm/platform/http/cookies.h"

namespace kelm {

namespace {

using Cookies = std::optional<std::vector<platform::Cookie>>;

constexpr std::size_t kUsualBytes = 1024;  // of the text without the bodies

template <class... Arguments>
void add(std::string& text, FormatString<std::type_identity_t<Arguments>...> format,
         const Arguments&... arguments) {
  const FormatArgument list[] = {FormatArgument(arguments)...};
  appendFormat(text, format.text(), list);
}

std::string_view bodyText(const Data* body) {
  if (body == nullptr || !isValidUtf8(textOf(*body))) return "<no body>";
  return textOf(*body);
}

std::string described(const Cookies& cookies) {
  if (!cookies) return "(null)";
  List list;
  for (const platform::Cookie& cookie : *cookies)
    list.emplace_back(platform::describe(cookie));
  return describe(list);
}

/// The cookies that the session has for the response's URL by now.
Cookies storedCookies(const platform::UrlSession* session, const platform::UrlResponse* response) {
  if (session == nullptr || response == nullptr) return std::nullopt;
  return platform::cookiesFor(session->configuration(), response->url);
}

}  // namespace

void ZuHTTPTask::logAboutNetworkTask() const {
  std::shared_ptr<const platform::UrlRequest> request;
  std::shared_ptr<const platform::UrlResponse> response;
  std::shared_ptr<platform::UrlSession> session;
  std::shared_ptr<const Data> body;
  std::optional<Error> error;
  Cookies requestCookies;
  {
    const Lock lock(mutex_);
    request = held_->request;
    response = held_->response;
    session = held_->session;
    body = responseBody_;
    error = errorOnTaskExecution_;
    requestCookies = requestCookies_;
  }
  const std::optional<std::string> url = request ? request->url : std::nullopt;
  const std::string_view sentBody = bodyText(request && request->body ? &*request->body : nullptr);
  const std::string_view receivedBody = bodyText(body.get());

  std::string text;
  text.reserve(kUsualBytes + sentBody.size() + receivedBody.size());
  add(text, "Current Session: %@", getCurrentSessionName());
  if (request)
    add(text, "\n[HTTP REQUEST] url:%@ [%@]\n%@\n", url, request->method, request->headers);
  else
    text += "\n[HTTP REQUEST] url:(null) [(null)]\n(null)\n";
  add(text, "%@\nCookies:%@", sentBody, described(requestCookies));
  add(text, "\n[HTTP RESPONSE] (req. url:%@) ", url);
  if (error)
    add(text, "%@", *error);
  else if (response)
    add(text, "status:%d\n headers:%@\n body:%@", response->statusCode, response->headers,
        receivedBody);
  else
    add(text, "status:0\n headers:(null)\n body:%@", receivedBody);
  add(text, "\nCookies:%@", described(storedCookies(session.get(), response.get())));
  VaspLogger::logText(log_level::kInfo, log_aspect::kNet, "-[ZuHTTPTask logAboutNetworkTask]",
                      std::move(text));
}

}  // namespace kelm
