// What libcurl calls while a transfer of an exchange runs, and what its outcomes mean.

#include <algorithm>
#include <new>

#include "kelm/platform/http/cookies.h"
#include "kelm/platform/linux/http/exchange.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr std::int64_t kMaxReservedBytes = 16 * 1024 * 1024;
constexpr std::size_t kReportEveryBytes = 64 * 1024;

std::int64_t codeOf(CURLcode outcome) {
  switch (outcome) {
    case CURLE_URL_MALFORMAT:
      return url_error::kBadUrl;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
      return url_error::kCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return url_error::kCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return url_error::kTimedOut;
    case CURLE_UNSUPPORTED_PROTOCOL:  // the scheme was checked before: no HTTP was spoken
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_HTTP2:
      return url_error::kBadServerResponse;
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_HTTP2_STREAM:
    case CURLE_ABORTED_BY_CALLBACK:
      return url_error::kConnectionLost;
    case CURLE_PEER_FAILED_VERIFICATION:
      return url_error::kServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return url_error::kSecureConnectionFailed;
    default:
      return url_error::kUnknown;
  }
}

/// Sending again after the connection broke is safe (RFC 9110, section 9.2.2).
bool isIdempotent(const std::string& method) {
  return method == "GET" || method == "HEAD" || method == "PUT" || method == "DELETE" ||
         method == "OPTIONS" || method == "TRACE";
}

}  // namespace

EasyHandle::Callbacks Exchange::callbacks() {
  return {onBody, onHeader, onProgress, onBeforeSending, onSecureContext};
}

std::optional<Error> Exchange::errorOf(CURLcode outcome) const {
  if (outcome == CURLE_OK && head_.complete()) return std::nullopt;
  // Of a head that ends too soon libcurl makes a success, of a line too long a want of memory.
  const bool badHead = headTooLarge_ || (outcome == CURLE_OUT_OF_MEMORY && head_.present());
  const bool isTrustRefusal =
      !trustRefusal_.empty() && codeOf(outcome) <= url_error::kSecureConnectionFailed;
  const std::int64_t code = outcome == CURLE_OK ? url_error::kConnectionLost
                            : trustCancelled_   ? url_error::kCancelled
                            : badHead           ? url_error::kBadServerResponse
                            : isTrustRefusal    ? url_error::kServerCertificateUntrusted
                                                : codeOf(outcome);
  Error error = urlError(code, *request_.url);
  const std::string_view reason =
      isTrustRefusal ? std::string_view(trustRefusal_) : curl_easy_strerror(outcome);
  error.userInfo.set("NSDebugDescription", reason);
  return error;
}

void Exchange::received(DataView bytes) {
  if (body_.empty()) {
    curl_easy_getinfo(handle_->curl(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &expected_);
    if (expected_ > 0)
      body_.reserve(static_cast<std::size_t>(std::min(expected_, kMaxReservedBytes)));
  }
  append(body_, bytes);
  lastMoved_ = std::chrono::steady_clock::now();
  reportReceived(false);
}

void Exchange::reportReceived(bool last) {
  const bool due = last ? body_.size() > reported_ : body_.size() - reported_ >= kReportEveryBytes;
  if (!due || engine_->delegate() == nullptr) return;
  reported_ = body_.size();
  runReporting([&] {
    engine_->delegate()->didReceiveData(id_, static_cast<std::int64_t>(reported_), expected_);
  });
}

void Exchange::reportSent(std::int64_t sent) {
  sent_ = sent;
  if (engine_->delegate() == nullptr) return;
  const auto total = static_cast<std::int64_t>(request_.body->size());
  runReporting([&] { engine_->delegate()->didSendBodyData(id_, sent, total); });
}

/// A connection is there. Libcurl sends again when one that was kept open turns out to be closed:
/// allowed only for what the server may well receive twice.
bool Exchange::mayBeSent() {
  if (wasSent_ && !isIdempotent(request_.method)) return false;
  wasSent_ = true;
  lastMoved_ = std::chrono::steady_clock::now();
  engine_->lookAgainAt(deadline());
  return true;
}

std::size_t Exchange::onBody(char* bytes, std::size_t size, std::size_t count, void* exchange) {
  try {
    static_cast<Exchange*>(exchange)->received(
        {reinterpret_cast<const std::uint8_t*>(bytes), size * count});
    return size * count;
  } catch (const std::exception&) {  // no memory for the body
    return CURL_WRITEFUNC_ERROR;
  }
}

std::size_t Exchange::onHeader(char* bytes, std::size_t size, std::size_t count, void* exchange) {
  auto& self = *static_cast<Exchange*>(exchange);
  self.headTooLarge_ = !self.head_.addLine({bytes, size * count});
  self.lastMoved_ = std::chrono::steady_clock::now();
  return self.headTooLarge_ ? 0 : size * count;
}

int Exchange::onProgress(void* exchange, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
  auto& self = *static_cast<Exchange*>(exchange);
  if (sent <= self.sent_) return 0;
  self.lastMoved_ = std::chrono::steady_clock::now();
  self.reportSent(sent);
  return 0;
}

int Exchange::onBeforeSending(void* exchange, char*, char*, int, int) {
  return static_cast<Exchange*>(exchange)->mayBeSent() ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

CURLcode Exchange::onSecureContext(CURL*, void* context, void* exchange) {
  auto& self = *static_cast<Exchange*>(exchange);
  const auto url = Url::parse(*self.request_.url);
  return installTrustJudge(context, self.shared_from_this(), url ? url->host() : "");
}

}  // namespace kelm::platform::url_sessions
