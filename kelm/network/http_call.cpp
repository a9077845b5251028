#include "kelm/network/http_call.h"

#include <utility>

#include "kelm/base/describe.h"

namespace kelm {

std::shared_ptr<HttpCall> HttpCall::initWithURL_andMethod_usingSession(
    std::optional<std::string> url, ZuHTTPMethod method,
    std::shared_ptr<platform::UrlSession> session) {
  return std::shared_ptr<HttpCall>(new HttpCall(std::move(url), method, std::move(session)));
}

std::optional<platform::UrlRequest> HttpCall::buildRequest() {
  std::optional<platform::UrlRequest> request = ZuHTTPTask::buildRequest();
  const std::optional<Dictionary> headers = getMutableHeaderDict();
  if (!request || !headers) return request;
  for (const auto& [name, value] : *headers)
    setHeaders_onHeaderMutableDictionary({{name, describe(value)}}, &request->headers);
  request->timeoutSeconds = timeoutSeconds_;
  return request;
}

}  // namespace kelm
