#include "kelm/testing/memory_url_sessions.h"

#include <atomic>
#include <deque>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/http/cookie_jar.h"
#include "kelm/platform/http/cookies.h"

namespace kelm::testing {

struct MemoryUrlSessions::Core {
  Mutex mutex;
  std::deque<Answer> answers KELM_GUARDED_BY(mutex);
  std::vector<platform::UrlRequest> requests KELM_GUARDED_BY(mutex);
  std::deque<std::shared_ptr<Task>> waiting KELM_GUARDED_BY(mutex);

  Answer nextAnswer() {
    const Lock lock(mutex);
    if (answers.empty()) return {404, {}, {}, {}};
    Answer next = std::move(answers.front());
    answers.pop_front();
    return next;
  }
};

class MemoryUrlSessions::Session final : public platform::UrlSession,
                                         public std::enable_shared_from_this<Session> {
 public:
  Session(std::shared_ptr<Core> itsCore, platform::UrlSessionConfiguration configuration,
          std::shared_ptr<platform::UrlSessionDelegate> itsDelegate)
      : core(std::move(itsCore)),
        configured(std::move(configuration)),
        delegate(std::move(itsDelegate)) {}
  std::shared_ptr<platform::DataTask> makeDataTask(const platform::UrlRequest& request,
                                                   Completion completion) override;
  const platform::UrlSessionConfiguration& configuration() const override { return configured; }

  const std::shared_ptr<Core> core;
  const platform::UrlSessionConfiguration configured;
  const std::shared_ptr<platform::UrlSessionDelegate> delegate;
};

class MemoryUrlSessions::Task final : public platform::DataTask,
                                      public std::enable_shared_from_this<Task> {
 public:
  Task(std::shared_ptr<const Session> session, platform::UrlRequest request,
       platform::UrlSession::Completion completion)
      : session_(std::move(session)),
        request_(std::move(request)),
        completion_(std::move(completion)) {}

  std::uint64_t id() const override { return id_; }
  void resume() override {
    if (state_.fetch_or(kResumed) != 0) return;
    addSessionHeaders();
    enqueue(!platform::requestProblem(request_));
  }
  void cancel() override {
    if (state_.fetch_or(kCancelled) == 0) enqueue(false);
  }
  void complete() {
    const std::string url = request_.url.value_or("");
    const auto completion = std::exchange(completion_, nullptr);
    Answer answer;
    if ((state_.fetch_or(kEnded) & kCancelled) != 0)
      answer.error = platform::urlError(platform::url_error::kCancelled, url);
    else if (auto problem = platform::requestProblem(request_))
      answer.error = std::move(problem);
    else
      answer = session_->core->nextAnswer();
    if (answer.error) {
      if (completion) completion({}, nullptr, std::move(answer.error));
      return;
    }
    if (const auto& cookies = session_->configured.cookies)
      for (const auto& cookie : platform::cookiesFromHeaders(answer.headers, url))
        if (const auto origin = Url::parse(url)) cookies->setReceived(cookie, *origin);
    reportProgress(answer.body);
    auto response = std::make_shared<platform::UrlResponse>();
    response->url = url;
    response->statusCode = answer.statusCode;
    response->headers = std::move(answer.headers);
    response->expectedLength = static_cast<std::int64_t>(answer.body.size());
    if (completion) completion(std::move(answer.body), response, std::nullopt);
  }

 private:
  static constexpr unsigned kResumed = 1, kCancelled = 2, kEnded = 4;

  void enqueue(bool recorded) {
    const Lock lock(session_->core->mutex);
    if (recorded) session_->core->requests.push_back(request_);
    session_->core->waiting.push_back(shared_from_this());
  }
  void addSessionHeaders() {
    for (const auto& [name, value] : session_->configured.additionalHeaders)
      if (!request_.header(name)) request_.headers.set(name, value);
    const auto cookies = platform::cookiesFor(session_->configured, request_.url);
    if (!cookies || request_.header("Cookie")) return;
    const std::string header = platform::cookieHeader(*cookies);
    if (!header.empty()) request_.headers.set("Cookie", header);
  }
  void reportProgress(const Data& body) const {
    if (!session_->delegate) return;
    const auto sent = request_.body ? static_cast<std::int64_t>(request_.body->size()) : 0;
    const auto received = static_cast<std::int64_t>(body.size());
    if (sent > 0) session_->delegate->didSendBodyData(id_, sent, sent);
    if (received > 0) session_->delegate->didReceiveData(id_, received, received);
  }

  inline static std::atomic<std::uint64_t> lastId{0};
  const std::uint64_t id_ = ++lastId;
  const std::shared_ptr<const Session> session_;
  platform::UrlRequest request_;
  platform::UrlSession::Completion completion_;
  std::atomic<unsigned> state_{0};
};

std::shared_ptr<platform::DataTask> MemoryUrlSessions::Session::makeDataTask(
    const platform::UrlRequest& request, Completion completion) {
  return std::make_shared<Task>(shared_from_this(), request, std::move(completion));
}

MemoryUrlSessions::MemoryUrlSessions() : core_(std::make_shared<Core>()) {}

MemoryUrlSessions::~MemoryUrlSessions() {
  std::deque<std::shared_ptr<Task>> dropped;  // declared first: ends after the lock
  const Lock lock(core_->mutex);
  dropped.swap(core_->waiting);
}

void MemoryUrlSessions::answer(Answer answer) {
  const Lock lock(core_->mutex);
  core_->answers.push_back(std::move(answer));
}

std::vector<platform::UrlRequest> MemoryUrlSessions::requests() const {
  const Lock lock(core_->mutex);
  return core_->requests;
}

bool MemoryUrlSessions::deliver() {
  std::shared_ptr<Task> task;
  {
    const Lock lock(core_->mutex);
    if (core_->waiting.empty()) return false;
    task = std::move(core_->waiting.front());
    core_->waiting.pop_front();
  }
  task->complete();
  return true;
}

std::shared_ptr<platform::UrlSession> MemoryUrlSessions::make(
    platform::UrlSessionConfiguration configuration,
    std::shared_ptr<platform::UrlSessionDelegate> delegate) {
  return std::make_shared<Session>(core_, std::move(configuration), std::move(delegate));
}

std::shared_ptr<platform::CookieStorage> MemoryUrlSessions::makeCookieStorage() {
  return std::make_shared<platform::CookieJar>();
}

}  // namespace kelm::testing
