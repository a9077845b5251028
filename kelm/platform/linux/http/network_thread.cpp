#include "kelm/platform/linux/http/network_thread.h"

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "kelm/platform/process.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr auto kLongestStop = std::chrono::seconds(2);
constexpr auto kLongestWait = std::chrono::hours(1);
thread_local bool isNetworkThread = false;

int checked(int descriptor) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "network thread");
  return descriptor;
}

}  // namespace

NetworkThread& NetworkThread::instance() {
  static NetworkThread* const kInstance = [] {
    auto* const thread = new NetworkThread;
    thread->start();
    return thread;
  }();
  return *kInstance;
}

NetworkThread::NetworkThread()
    : epoll_(checked(epoll_create1(EPOLL_CLOEXEC))),
      wakeUp_(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
  // Before atexit: what these libraries clean up at the exit is still there when the thread stops.
  curl_global_init(CURL_GLOBAL_DEFAULT);
  epoll_event event{};
  event.events = EPOLLIN | EPOLLET;
  event.data.fd = wakeUp_;
  checked(epoll_ctl(epoll_, EPOLL_CTL_ADD, wakeUp_, &event));
}

void NetworkThread::start() {
  startThread("kelm-network", [this] { run(); });  // without SIGPIPE of a TLS write
  std::atexit([] { instance().stop(); });
}

void NetworkThread::stop() {
  stopping_ = true;
  wake();
  if (isNetworkThread) return;
  const Lock lock(mutex_);
  stopped_.wait_for(mutex_, kLongestStop, [this]() KELM_NO_THREAD_SAFETY { return hasStopped_; });
}

void NetworkThread::post(std::function<void()> job) {
  bool wasSleeping = false;
  {
    const Lock lock(mutex_);
    jobs_.push_back(std::move(job));
    wasSleeping = std::exchange(sleeping_, false);
  }
  if (wasSleeping) wake();
}

void NetworkThread::wake() const {
  const std::uint64_t one = 1;
  // Fails only when the counter is full: then the thread is awake already.
  [[maybe_unused]] const ssize_t written = write(wakeUp_, &one, sizeof one);
}

void NetworkThread::add(Member& member) { members_.push_back(&member); }

void NetworkThread::remove(Member& member) {
  std::erase(members_, &member);
  for (Watched& watched : watched_)
    if (watched.member == &member) watched.member = nullptr;
}

NetworkThread::Watched& NetworkThread::watched(int socket) {
  const auto index = static_cast<std::size_t>(socket);
  if (index >= watched_.size()) watched_.resize(index + 1);
  return watched_[index];
}

void NetworkThread::watch(int socket, std::uint32_t events, Member& member) {
  Watched& entry = watched(socket);
  entry.member = events == 0 ? nullptr : &member;
  if (events == entry.events || (events == 0 && entry.lasting)) return;
  tellKernel(socket, events);
}

void NetworkThread::tellKernel(int socket, std::uint32_t events) {
  Watched& entry = watched(socket);
  const int operation = events == 0         ? EPOLL_CTL_DEL
                        : entry.events == 0 ? EPOLL_CTL_ADD
                                            : EPOLL_CTL_MOD;
  entry.events = events;
  epoll_event event{};
  event.events = events;
  event.data.fd = socket;
  epoll_ctl(epoll_, operation, socket, &event);
}

void NetworkThread::markLasting(int socket) { watched(socket) = {nullptr, 0, true}; }

void NetworkThread::closeLasting(int socket) {
  watched(socket) = {};
  close(socket);
}

void NetworkThread::run() {
  isNetworkThread = true;
  while (!stopping_) {
    runJobs();
    const Moment now = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < members_.size(); ++i)
      if (members_[i]->due() <= now) members_[i]->advance(now);
    waitForEvents();
  }
  OPENSSL_thread_stop();  // here, since the library cleans up once the thread counts as stopped
  const Lock lock(mutex_);
  hasStopped_ = true;
  stopped_.notify_all();
}

void NetworkThread::runJobs() {
  {
    const Lock lock(mutex_);
    running_.swap(jobs_);
  }
  for (auto& job : running_) {
    job();
    job = nullptr;
  }
  running_.clear();
}

int NetworkThread::millisecondsToWait() const {
  const Moment now = std::chrono::steady_clock::now();
  Moment first = now + kLongestWait;
  for (const Member* member : members_)
    first = std::min(first, member->due());
  if (first <= now) return 0;
  return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(first - now).count());
}

void NetworkThread::waitForEvents() {
  int milliseconds = millisecondsToWait();
  {
    const Lock lock(mutex_);
    if (!jobs_.empty() || stopping_) milliseconds = 0;
    sleeping_ = milliseconds != 0;
  }
  std::array<epoll_event, 64> events;
  const int count =
      epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), milliseconds);
  if (milliseconds != 0) {
    const Lock lock(mutex_);
    sleeping_ = false;
  }
  for (int i = 0; i < count; ++i) {
    const epoll_event& event = events[static_cast<std::size_t>(i)];
    if (event.data.fd != wakeUp_) dispatch(event.data.fd, event.events);
  }
}

void NetworkThread::dispatch(int socket, std::uint32_t events) {
  const Watched& entry = watched(socket);
  if (entry.member != nullptr)
    entry.member->socketReady(socket, events);
  else if (entry.events != 0)
    tellKernel(socket, 0);  // the server closed or spoke while the connection was idle
}

}  // namespace kelm::platform::url_sessions
