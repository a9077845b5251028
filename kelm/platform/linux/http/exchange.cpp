#include "kelm/platform/linux/http/exchange.h"

#include <utility>

#include "kelm/platform/clock.h"
#include "kelm/platform/http/cookies.h"
#include "kelm/platform/linux/http/redirect.h"
#include "kelm/platform/linux/http/resolver.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr double kMaxSeconds = 1e9;  // longer is for ever

std::uint64_t nextId() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

std::optional<Moment> after(Moment start, double seconds) {
  if (!(seconds > 0 && seconds < kMaxSeconds)) return std::nullopt;
  return start +
         std::chrono::duration_cast<Moment::duration>(std::chrono::duration<double>(seconds));
}

UrlMeasures measuresOf(CURL* handle) {
  const auto seconds = [handle](CURLINFO info) {
    curl_off_t microseconds = 0;
    curl_easy_getinfo(handle, info, &microseconds);
    return static_cast<double>(microseconds) / 1e6;
  };
  UrlMeasures measures;
  measures.nameKnown = seconds(CURLINFO_NAMELOOKUP_TIME_T);
  measures.connected = seconds(CURLINFO_CONNECT_TIME_T);
  measures.secured = seconds(CURLINFO_APPCONNECT_TIME_T);
  measures.firstByte = seconds(CURLINFO_STARTTRANSFER_TIME_T);
  measures.whole = seconds(CURLINFO_TOTAL_TIME_T);
  long connections = 0, version = 0;
  curl_easy_getinfo(handle, CURLINFO_NUM_CONNECTS, &connections);
  curl_easy_getinfo(handle, CURLINFO_HTTP_VERSION, &version);
  measures.reusedConnection = connections == 0;
  measures.protocol = version == CURL_HTTP_VERSION_2_0   ? "HTTP/2"
                      : version == CURL_HTTP_VERSION_1_0 ? "HTTP/1.0"
                                                         : "HTTP/1.1";
  curl_off_t sent = 0, received = 0;
  curl_easy_getinfo(handle, CURLINFO_SIZE_UPLOAD_T, &sent);
  curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &received);
  measures.bytesSent = sent;
  measures.bytesReceived = received;
  return measures;
}

}  // namespace

Exchange::Exchange(std::shared_ptr<SessionEngine> engine, UrlRequest request,
                   UrlSession::Completion completion)
    : id_(nextId()),
      engine_(std::move(engine)),
      request_(std::move(request)),
      completion_(std::move(completion)) {}

void Exchange::resume() {
  if (resumed_.exchange(true)) return;
  NetworkThread::instance().post([self = shared_from_this()] { self->begin(); });
}

void Exchange::cancel() {
  NetworkThread::instance().post([self = shared_from_this()] { self->end(url_error::kCancelled); });
}

void Exchange::begin() {
  if (!engine_) return;  // cancelled before
  const UrlSessionConfiguration& configuration = engine_->configuration();
  const double whole =
      request_.timeoutSeconds > 0 ? request_.timeoutSeconds : configuration.resourceTimeoutSeconds;
  wholeDeadline_ = after(std::chrono::steady_clock::now(), whole);
  engine_->keep(shared_from_this());
  isKept_ = true;
  auto problem = requestProblem(request_);
  if (!problem) problem = engine_->headersProblem();
  if (problem) return complete(std::move(problem));
  // Part of the request from here on, so that a redirect drops the session's credentials, too.
  for (const auto& [name, value] : configuration.additionalHeaders)
    if (!hasHeader(request_.headers, name)) request_.headers.set(name, value);
  request_.sensitiveHeaders.insert(request_.sensitiveHeaders.end(),
                                   configuration.sensitiveHeaders.begin(),
                                   configuration.sensitiveHeaders.end());
  startTransfer();
}

void Exchange::startTransfer() {
  url_ = Url::parse(*request_.url);
  const std::string origin = url_ ? url_->origin() : "";
  if (origin != origin_) addresses_.clear();
  origin_ = origin;
  head_.clear();
  body_.clear();
  lastMoved_.reset();
  wasSent_ = false;
  sent_ = 0;
  reported_ = 0;
  engine_->lookAgainAt(deadline());
  engine_->enqueue(*this);
}

void Exchange::send() {
  std::string cookies;
  if (!hasHeader(request_.headers, "Cookie")) {
    runReporting([&] {
      cookies = cookieHeader(
          cookiesFor(engine_->configuration(), request_.url).value_or(std::vector<Cookie>()));
    });
  }
  const bool reportsUpload = request_.body && !request_.body->empty() &&
                             (engine_->delegate() != nullptr || request_.body->size() > 65536);
  handle_ = engine_->takeHandle();
  handle_->attach(this);
  handle_->prepare(request_, cookies, reportsUpload);
  const auto& given = engine_->configuration().addresses;
  const std::string place = url_->host() + ':' + std::to_string(url_->port());
  if (const auto found = given.find(place); found != given.end())
    addresses_ = place + ':' + found->second;
  handle_->setAddresses(addresses_);
  curl_easy_setopt(handle_->curl(), CURLOPT_FRESH_CONNECT, repeated_ ? 1L : 0L);
  if (!engine_->start(handle_->curl())) {
    handle_.reset();
    complete(urlError(url_error::kUnknown, *request_.url));
  }
}

void Exchange::stopTransfer() {
  if (handle_) {
    engine_->stop(handle_->curl());
    engine_->giveBack(std::move(handle_));
  }
  engine_->dequeue(*this);
}

void Exchange::resolveName() {
  needsName_ = false;
  nameDeadline_ =
      after(std::chrono::steady_clock::now(), engine_->configuration().connectTimeoutSeconds);
  engine_->lookAgainAt(deadline());
  Resolver::instance().resolve(url_->host(), [weak = weak_from_this()](const auto& addresses) {
    if (const auto self = weak.lock()) self->nameResolved(addresses);
  });
}

void Exchange::nameResolved(const std::vector<std::string>& addresses) {
  if (!engine_) return;  // it has ended meanwhile
  nameDeadline_.reset();
  if (addresses.empty()) return complete(urlError(url_error::kCannotFindHost, *request_.url));
  addresses_ = '+' + url_->host() + ':' + std::to_string(url_->port());
  for (const std::string& address : addresses)
    addresses_.append(&address == &addresses.front() ? ":" : ",").append(address);
  startTransfer();
}

void Exchange::repeat() {
  stopTransfer();
  startTransfer();
}

Moment Exchange::deadline() const {
  Moment first = wholeDeadline_.value_or(Moment::max());
  if (nameDeadline_) first = std::min(first, *nameDeadline_);
  if (lastMoved_)
    if (const auto idle = after(*lastMoved_, engine_->configuration().requestTimeoutSeconds))
      first = std::min(first, *idle);
  return first;
}

void Exchange::end(std::int64_t code) {
  if (!engine_) return;
  if (!isKept_) engine_->keep(shared_from_this());  // never resumed
  isKept_ = true;
  Error error = urlError(code, request_.url.value_or(""));
  if (code == url_error::kTimedOut) error.userInfo.set("NSDebugDescription", reachedLimit());
  complete(std::move(error));
}

/// Which time-out it was.
std::string_view Exchange::reachedLimit() const {
  const Moment now = std::chrono::steady_clock::now();
  if (wholeDeadline_ && *wholeDeadline_ <= now) return "limit of the whole exchange";
  return nameDeadline_ ? "limit of connecting" : "limit of silence";
}

void Exchange::transferEnded(CURLcode outcome) {
  if (needsName_) {
    stopTransfer();
    return resolveName();
  }
  if (mayBeRepeated(outcome)) {
    repeated_ = true;
    return repeat();
  }
  std::optional<Error> error = errorOf(outcome);
  curl_easy_getinfo(handle_->curl(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &expected_);
  long version = 0;
  curl_easy_getinfo(handle_->curl(), CURLINFO_HTTP_VERSION, &version);
  if (version == CURL_HTTP_VERSION_2_0) engine_->learnOfSharing(origin_);
  storeCookies();
  if (!error && follow(error)) return repeat();
  complete(std::move(error));
}

void Exchange::storeCookies() const {
  const auto& storage = engine_->configuration().cookies;
  if (!storage) return;
  const auto fields = head_.values("set-cookie");
  if (fields.empty()) return;
  const auto url = Url::parse(*request_.url);
  if (!url) return;
  for (const std::string_view field : fields)
    if (const auto cookie = parseCookie(field, url, current<Clock>()->now()))
      runReporting([&] { storage->setReceived(*cookie, *url); });
}

bool Exchange::follow(std::optional<Error>& error) {
  long status = 0;
  curl_easy_getinfo(handle_->curl(), CURLINFO_RESPONSE_CODE, &status);
  if (!engine_->configuration().followRedirects || !isRedirect(status)) return false;
  const auto locations = head_.values("location");
  if (locations.empty()) return false;
  if (++redirects_ > engine_->configuration().maxRedirects) {
    error = urlError(url_error::kTooManyRedirects, *request_.url);
    return false;
  }
  UrlRequest next = redirected(request_, status, locations.front());
  error = redirectProblem(request_, next);
  if (error) return false;
  request_ = std::move(next);
  return true;
}

void Exchange::complete(std::optional<Error> error) {
  const auto self = shared_from_this();
  const auto answer = response();
  if (!error) {
    curl_off_t sent = 0;
    curl_easy_getinfo(handle_->curl(), CURLINFO_SIZE_UPLOAD_T, &sent);
    if (sent > sent_) reportSent(sent);
    reportReceived(true);
  }
  stopTransfer();
  engine_->drop(*this);
  const auto engine = std::exchange(engine_, nullptr);
  const UrlSession::Completion completion = std::exchange(completion_, nullptr);
  request_ = {};
  Data body = error ? Data() : std::exchange(body_, {});
  if (completion) runReporting([&] { completion(std::move(body), answer, std::move(error)); });
}

std::shared_ptr<const UrlResponse> Exchange::response() const {
  if (!handle_ || !head_.present()) return nullptr;
  auto response = std::make_shared<UrlResponse>();
  long status = 0;
  curl_easy_getinfo(handle_->curl(), CURLINFO_RESPONSE_CODE, &status);
  response->url = *request_.url;
  response->statusCode = static_cast<int>(status);
  response->headers = head_.fields();
  response->expectedLength = expected_;
  response->measures = measuresOf(handle_->curl());
  return response;
}

UrlSessionDelegate::Disposition Exchange::judge(const ServerTrust& trust) {
  using Disposition = UrlSessionDelegate::Disposition;
  trustRefusal_ = trust.refusal;
  if (!engine_) return Disposition::Cancel;
  if (engine_->delegate() == nullptr) return Disposition::PerformDefaultHandling;
  auto disposition = Disposition::Cancel;  // if the delegate throws
  runReporting([&] { disposition = engine_->delegate()->didReceiveChallenge(trust); });
  trustCancelled_ = disposition == Disposition::Cancel;
  return disposition;
}

void Exchange::learnOfRevocation() { trustRefusal_ = "certificate revoked"; }

}  // namespace kelm::platform::url_sessions
