#pragma once

#include "kelm/network/zu_http_task.h"

namespace kelm {

/// The HTTP call for everyday use: a `ZuHTTPTask` whose computed headers go out with the request,
/// and whose exchange ends with an error when it lasts too long.
///
///   auto call = kelm::HttpCall::initWithURL_andMethod_usingSession(
///       "https://pay.example/sales", kelm::ZuHTTPMethod::Post, session);
///   call->setRequestParametersEncoding(kelm::ZuHTTPParamEncoding::Json);
///   call->setRequestParameters(kelm::Dictionary{{"amount", 1250}, {"currency", "EUR"}});
///   call->performAsyncNetworkTaskWithCompletion([](auto response, auto error) { ... });
class KELM_API HttpCall : public ZuHTTPTask {
 public:
  static constexpr double kDefaultTimeoutSeconds = 30;

  static std::shared_ptr<HttpCall> initWithURL_andMethod_usingSession(
      std::optional<std::string> url, ZuHTTPMethod method,
      std::shared_ptr<platform::UrlSession> session);

  /// The limit for the whole exchange; 0 leaves it to the session. Set before the start.
  void setTimeoutSeconds(double seconds) { timeoutSeconds_ = seconds; }

  /// The base's request with its computed headers, of names that differ in case only the last one,
  /// and the time-out.
  std::optional<platform::UrlRequest> buildRequest() override;

 protected:
  using ZuHTTPTask::ZuHTTPTask;

 private:
  double timeoutSeconds_ = kDefaultTimeoutSeconds;
};

}  // namespace kelm
