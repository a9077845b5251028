#include "terminal/courier.h"

#include <utility>

#include "kelm/base/format.h"
#include "kelm/network/http_call.h"
#include "kelm/platform/http/url_session.h"

namespace terminal {

namespace {
constexpr int kTaken = 201;
constexpr int kHadItAlready = 409;  // an earlier answer was lost on the way
}  // namespace

Courier::Courier(std::string acquirerUrl, std::shared_ptr<kelm::platform::UrlSession> session)
    : url_(std::move(acquirerUrl) + "/sales"), session_(std::move(session)) {}

void Courier::collect(kelm::Data payload, kelm::ReliableQueueDone done) {
  parcels_.push_back({std::move(payload), std::move(done)});
}

void Courier::send(std::function<void()> delivered, Ended ended) {
  delivered_ = std::move(delivered);
  ended_ = std::move(ended);
  sendNext();
}

void Courier::sendNext() {
  if (parcels_.empty()) return ended_(std::nullopt);
  const auto call =
      kelm::HttpCall::initWithURL_andMethod_usingSession(url_, kelm::ZuHTTPMethod::Post, session_);
  call->setRequestParametersEncoding(kelm::ZuHTTPParamEncoding::Json);
  call->setRequestBody(parcels_.front().payload);
  call->performAsyncNetworkTaskWithCompletion(
      [self = shared_from_this()](const std::shared_ptr<kelm::ZuHTTPResponse>& response,
                                  const std::optional<kelm::Error>& error) {
        self->answered(response ? static_cast<int>(response->statusCode()) : 0, error);
      });
}

void Courier::answered(int statusCode, const std::optional<kelm::Error>& error) {
  if (error) {
    std::string sentence = error->localizedDescription();
    if (sentence.ends_with('.')) sentence.pop_back();
    return fail(sentence);
  }
  if (statusCode != kTaken && statusCode != kHadItAlready) {
    return fail(kelm::format("the acquirer answered %d", statusCode));
  }
  const Parcel parcel = std::move(parcels_.front());
  parcels_.pop_front();
  parcel.done(std::nullopt);
  delivered_();
  sendNext();
}

void Courier::fail(const std::string& problem) {
  const kelm::Error error = kelm::Error::make("terminal", 1, problem);
  for (const Parcel& parcel : std::exchange(parcels_, {}))
    parcel.done(error);
  ended_(problem);
}

}  // namespace terminal
