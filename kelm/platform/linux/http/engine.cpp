#include "kelm/platform/linux/http/engine.h"

#include <sys/epoll.h>

#include <algorithm>
#include <utility>

#include "kelm/platform/linux/http/exchange.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr std::size_t kMaxIdleHandles = 16;
constexpr long kMaxIdleConnections = 32;
constexpr std::size_t kMaxStreams = 100;  // of one HTTP/2 connection

std::optional<Error> problemOfHeaders(const Dictionary& headers) {
  UrlRequest sample;
  sample.url = "http://localhost/";
  sample.headers = headers;
  auto problem = requestProblem(sample);
  if (problem) problem->userInfo.remove("NSErrorFailingURLStringKey");
  return problem;
}

}  // namespace

std::shared_ptr<SessionEngine> SessionEngine::make(UrlSessionConfiguration configuration,
                                                   std::shared_ptr<UrlSessionDelegate> delegate) {
  auto* const engine = new SessionEngine(std::move(configuration), std::move(delegate));
  // The last reference may go on any thread, and from within a callback.
  return {engine, [](SessionEngine* e) { NetworkThread::instance().post([e] { delete e; }); }};
}

SessionEngine::SessionEngine(UrlSessionConfiguration configuration,
                             std::shared_ptr<UrlSessionDelegate> delegate)
    : configuration_(std::move(configuration)),
      headersProblem_(problemOfHeaders(configuration_.additionalHeaders)),
      delegate_(std::move(delegate)) {}

SessionEngine::~SessionEngine() {
  if (multi_ == nullptr) return;
  idle_.clear();
  curl_multi_cleanup(multi_);
  NetworkThread::instance().remove(*this);
}

void SessionEngine::open() {
  multi_ = curl_multi_init();
  if (multi_ == nullptr) throw std::bad_alloc();
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, onSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, onTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kMaxIdleConnections);
  NetworkThread::instance().add(*this);
}

std::unique_ptr<EasyHandle> SessionEngine::takeHandle() {
  if (idle_.empty()) return std::make_unique<EasyHandle>(configuration_, Exchange::callbacks());
  std::unique_ptr<EasyHandle> handle = std::move(idle_.back());
  idle_.pop_back();
  return handle;
}

void SessionEngine::giveBack(std::unique_ptr<EasyHandle> handle) {
  if (idle_.size() < kMaxIdleHandles) idle_.push_back(std::move(handle));
}

void SessionEngine::enqueue(Exchange& exchange) {
  if (multi_ == nullptr) open();
  waiting_.push_back(&exchange);
  mayHaveRoom_ = true;
}

void SessionEngine::dequeue(Exchange& exchange) {
  if (std::erase(waiting_, &exchange) != 0) return;
  if (const auto used = busy_.find(exchange.origin()); used != busy_.end()) busy_.erase(used);
  mayHaveRoom_ = true;
}

bool SessionEngine::hasRoomFor(const std::string& origin) const {
  const auto isFull = [](std::size_t count, int limit) {
    return limit > 0 && count >= static_cast<std::size_t>(limit);
  };
  if (sharing_.contains(origin)) return busy_.count(origin) < kMaxStreams;
  return !isFull(busy_.count(origin), configuration_.maxConnectionsPerHost) &&
         !isFull(busy_.size(), configuration_.maxConnections);
}

void SessionEngine::sendWaiting() {
  mayHaveRoom_ = false;
  for (std::size_t i = 0; i < waiting_.size();) {
    Exchange& next = *waiting_[i];
    if (!hasRoomFor(next.origin())) {
      ++i;
      continue;
    }
    waiting_.erase(waiting_.begin() + static_cast<std::ptrdiff_t>(i));
    busy_.insert(next.origin());
    next.send();
  }
}

bool SessionEngine::start(CURL* handle) {
  return curl_multi_add_handle(multi_, handle) == CURLM_OK;
}

void SessionEngine::stop(CURL* handle) { curl_multi_remove_handle(multi_, handle); }

void SessionEngine::keep(std::shared_ptr<Exchange> exchange) {
  exchange->setSlot(running_.size());
  running_.push_back(std::move(exchange));
}

void SessionEngine::drop(Exchange& exchange) {
  const std::size_t slot = exchange.slot();
  std::swap(running_[slot], running_.back());
  running_[slot]->setSlot(slot);
  running_.pop_back();
}

void SessionEngine::socketReady(int socket, std::uint32_t events) {
  int what = 0;
  if (events & EPOLLIN) what |= CURL_CSELECT_IN;
  if (events & EPOLLOUT) what |= CURL_CSELECT_OUT;
  if (events & (EPOLLERR | EPOLLHUP)) what |= CURL_CSELECT_ERR;
  int running = 0;
  curl_multi_socket_action(multi_, socket, what, &running);
  socketsMoved_ = true;
}

Moment SessionEngine::due() const {
  if (socketsMoved_ || (mayHaveRoom_ && !waiting_.empty())) return Moment::min();
  return std::min(curlTimer_, nextCheck_);
}

void SessionEngine::advance(Moment now) {
  socketsMoved_ = false;
  if (curlTimer_ <= now) {
    curlTimer_ = Moment::max();
    int running = 0;
    curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running);
  }
  endFinished();
  if (nextCheck_ <= now) endOverdue(now);
  if (mayHaveRoom_) sendWaiting();
}

void SessionEngine::endFinished() {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    const CURLcode outcome = message->data.result;  // the message goes with the handle
    Exchange* exchange = nullptr;
    curl_easy_getinfo(handle, CURLINFO_PRIVATE, &exchange);
    exchange->transferEnded(outcome);
  }
}

void SessionEngine::endOverdue(Moment now) {
  std::vector<std::shared_ptr<Exchange>> overdue;
  nextCheck_ = Moment::max();
  for (const auto& exchange : running_) {
    if (exchange->deadline() <= now)
      overdue.push_back(exchange);
    else
      lookAgainAt(exchange->deadline());
  }
  for (const auto& exchange : overdue)
    exchange->end(url_error::kTimedOut);
}

int SessionEngine::onSocket(CURL*, curl_socket_t socket, int what, void* engine, void*) {
  std::uint32_t events = 0;
  if (what == CURL_POLL_IN || what == CURL_POLL_INOUT) events |= EPOLLIN;
  if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) events |= EPOLLOUT;
  NetworkThread::instance().watch(socket, events, *static_cast<SessionEngine*>(engine));
  return 0;
}

int SessionEngine::onTimer(CURLM*, long milliseconds, void* engine) {
  static_cast<SessionEngine*>(engine)->curlTimer_ =
      milliseconds < 0 ? Moment::max()
                       : std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

}  // namespace kelm::platform::url_sessions
