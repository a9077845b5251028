// Functions that libcurl calls while a transfer of an exchange runs, and what its outcomes mean.

#include <algorithm>
#include <new>

#include "kelm/base/ip_address.h"
#include "kelm/platform/linux/http/exchange.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr std::int64_t kMaxReservedBytes = 16 * 1024 * 1024;
constexpr std::size_t kReportEveryBytes = 64 * 1024;

std::int64_t codeOf(CURLcode outcome) {
  constexpr int kTooLarge = 100;  // a head, by libcurl since 8.6
  if (static_cast<int>(outcome) == kTooLarge) return url_error::kBadServerResponse;
  switch (outcome) {
    case CURLE_URL_MALFORMAT:
      return url_error::kBadUrl;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:
      return url_error::kProxyFailed;
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
  return {onBody, onHeader, onProgress, onBeforeSending, onNameNeeded, onSecureContext};
}

std::int64_t Exchange::errorCodeOf(CURLcode outcome) const {
  if (outcome == CURLE_OK) return url_error::kConnectionLost;  // within the head
  if (trustCancelled_) return url_error::kCancelled;
  if (bodyTooLong_) return url_error::kDataLengthExceedsMaximum;
  // libcurl reports a line that is too long as a lack of memory.
  if (badHead_ || (outcome == CURLE_OUT_OF_MEMORY && head_.present()))
    return url_error::kBadServerResponse;
  std::int64_t code = codeOf(outcome);
  if (code == url_error::kCannotConnectToHost &&
      !engine_->configuration().proxy.value_or("").empty())
    code = url_error::kProxyFailed;
  // The alert may be lost when the server closes before the request that follows was read.
  if (alert_ == kCertificateRequiredAlert || (certificateAsked_ && !head_.present() &&
                                              (alert_ != 0 || code == url_error::kConnectionLost)))
    return url_error::kClientCertificateRequired;
  if (!trustRefusal_.empty() && code <= url_error::kSecureConnectionFailed)
    return url_error::kServerCertificateUntrusted;
  return alert_ && !head_.present() ? url_error::kSecureConnectionFailed : code;
}

std::optional<Error> Exchange::errorOf(CURLcode outcome) const {
  if (outcome == CURLE_OK && head_.complete()) return std::nullopt;
  Error error = urlError(errorCodeOf(outcome), *request_.url);
  std::string reason = curl_easy_strerror(outcome);
  if (error.code == url_error::kServerCertificateUntrusted && !trustRefusal_.empty())
    reason = trustRefusal_;
  if (outcome == CURLE_OPERATION_TIMEDOUT)
    reason = wasSent_ ? "limit of the lowest speed" : "limit of connecting";
  if (outcome == CURLE_SSL_CACERT_BADFILE)
    reason += ": " + engine_->configuration().trustRootsFile.value_or("");
  error.userInfo.set("NSDebugDescription", reason);
  return error;
}

/// True when a kept connection turned out to be dead before a byte of the answer came. What the
/// server may receive twice is sent again, once, on a new connection.
bool Exchange::mayBeRepeated(CURLcode outcome) const {
  if (outcome != CURLE_SEND_ERROR && outcome != CURLE_RECV_ERROR && outcome != CURLE_GOT_NOTHING)
    return false;
  long newConnections = 0, sent = 0;
  curl_easy_getinfo(handle_->curl(), CURLINFO_NUM_CONNECTS, &newConnections);
  curl_easy_getinfo(handle_->curl(), CURLINFO_REQUEST_SIZE, &sent);
  return newConnections == 0 && !head_.present() && !repeated_ &&
         (isIdempotent(request_.method) || sent == 0);
}

void Exchange::received(DataView bytes) {
  const auto size = static_cast<std::int64_t>(body_.size());
  if (body_.empty())
    curl_easy_getinfo(handle_->curl(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &expected_);
  const std::int64_t limit = engine_->configuration().maxBodyBytes;
  bodyTooLong_ = limit > 0 && size + static_cast<std::int64_t>(bytes.size()) > limit;
  if (bodyTooLong_) return;
  // A large length is believed once a part of it has come; then the whole is held once.
  if (const std::int64_t room = size < kMaxReservedBytes ? kMaxReservedBytes : expected_;
      body_.size() + bytes.size() > body_.capacity() && expected_ > 0)
    body_.reserve(static_cast<std::size_t>(std::max(std::min(expected_, room), size)));
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
    return static_cast<Exchange*>(exchange)->bodyTooLong_ ? CURL_WRITEFUNC_ERROR : size * count;
  } catch (const std::exception&) {  // no memory for the body
    return CURL_WRITEFUNC_ERROR;
  }
}

std::size_t Exchange::onHeader(char* bytes, std::size_t size, std::size_t count, void* exchange) {
  auto& self = *static_cast<Exchange*>(exchange);
  self.badHead_ = !self.head_.addLine({bytes, size * count});
  self.lastMoved_ = std::chrono::steady_clock::now();
  return self.badHead_ ? 0 : size * count;
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

/// True if the session does not connect to the address of the URL's host.
bool Exchange::hasOwnWay() const {
  const UrlSessionConfiguration& configuration = engine_->configuration();
  const bool hasProxy =
      configuration.proxy ? !configuration.proxy->empty() : environmentNamesProxy();
  return hasProxy || !configuration.unixSocket.empty();
}

/// True if libcurl may look the name up itself, which must take no time: it is an address, or one
/// of the names that RFC 6761 keeps for the loopback.
bool Exchange::mayResolve() {
  const std::string& host = url_->host();
  needsName_ = addresses_.empty() && host.find(':') == std::string::npos && !isIpv4Address(host) &&
               host != "localhost" && !host.ends_with(".localhost") && !hasOwnWay();
  return !needsName_;
}

int Exchange::onNameNeeded(void*, void*, void* exchange) {
  return static_cast<Exchange*>(exchange)->mayResolve() ? 0 : 1;
}

CURLcode Exchange::onSecureContext(CURL*, void* context, void* exchange) {
  auto& self = *static_cast<Exchange*>(exchange);
  return installTrustJudge(context, self.shared_from_this(), self.url_->host());
}

}  // namespace kelm::platform::url_sessions
