#include "kelm/network/http_call.h"

#include <algorithm>
#include <utility>

#include "kelm/base/describe.h"
#include "kelm/collections/letter_case.h"

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
  for (auto header = headers->begin(); header != headers->end(); ++header) {
    const bool comesAgain = std::any_of(header + 1, headers->end(), [&](const auto& later) {
      return equalInUpperCase(later.key, header->key);
    });
    if (!comesAgain) request->headers.set(header->key, describe(header->value));
  }
  request->timeoutSeconds = timeoutSeconds_;
  return request;
}

}  // namespace kelm
