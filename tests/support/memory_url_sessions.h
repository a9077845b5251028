#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/cookie_jar.h"
#include "kelm/platform/cookies.h"
#include "kelm/platform/platform.h"
#include "kelm/platform/url_session.h"

namespace kelm::test {

/// URL sessions without a network. The test scripts the answers, in the order of the requests,
/// or one function that makes them; requests are recorded when their task is resumed. Nothing
/// completes until the test delivers it, on the thread of that call. Thread-safe.
class MemoryUrlSessions final : public platform::UrlSessions {
 public:
  struct Answer {
    int statusCode = 200;
    Dictionary headers;
    Data body;
    std::optional<Error> error;  ///< instead of a response
  };
  using Responder = std::function<Answer(const platform::UrlRequest&)>;

  MemoryUrlSessions() : core_(std::make_shared<Core>()) {}
  /// Drops what was never delivered.
  ~MemoryUrlSessions() override { core_->clear(); }

  /// Answers the next request that no earlier answer is for.
  void answer(Answer answer) { core_->script(std::move(answer)); }
  /// Answers every request that no scripted answer is for; without it that is status 404.
  void answerWith(Responder responder) { core_->setResponder(std::move(responder)); }

  /// The requests that were resumed, with the headers that the session adds.
  std::vector<platform::UrlRequest> requests() const { return core_->requests(); }
  /// Completes the task that was resumed (or cancelled) first; false when none waits.
  bool deliver() { return core_->deliver(); }
  /// Completes all, those that completions start too.
  void deliverAll() {
    while (deliver()) {
    }
  }

  std::shared_ptr<platform::UrlSession> make(
      platform::UrlSessionConfiguration configuration,
      std::shared_ptr<platform::UrlSessionDelegate> delegate = {}) override {
    return std::make_shared<Session>(core_, std::move(configuration), std::move(delegate));
  }
  std::shared_ptr<platform::CookieStorage> makeCookieStorage() override {
    return std::make_shared<platform::CookieJar>(platform::Platform::current().clock);
  }

 private:
  class Task;
  struct Shared {  // what a task needs of its session
    platform::UrlSessionConfiguration configuration;
    std::shared_ptr<platform::UrlSessionDelegate> delegate;
  };

  class Core {
   public:
    void script(Answer answer) {
      const Lock lock(mutex_);
      answers_.push_back(std::move(answer));
    }
    void setResponder(Responder responder) {
      const Lock lock(mutex_);
      responder_ = std::move(responder);
    }
    std::vector<platform::UrlRequest> requests() const {
      const Lock lock(mutex_);
      return requests_;
    }
    void record(const platform::UrlRequest& request) {
      const Lock lock(mutex_);
      requests_.push_back(request);
    }
    void enqueue(std::shared_ptr<Task> task) {
      const Lock lock(mutex_);
      waiting_.push_back(std::move(task));
    }
    Answer answerFor(const platform::UrlRequest& request) {
      Responder responder;
      {
        const Lock lock(mutex_);
        if (!answers_.empty()) {
          Answer next = std::move(answers_.front());
          answers_.pop_front();
          return next;
        }
        responder = responder_;
      }
      return responder ? responder(request) : Answer{404, {}, {}, {}};
    }
    bool deliver();
    void clear();

   private:
    mutable Mutex mutex_;
    std::deque<Answer> answers_ KELM_GUARDED_BY(mutex_);
    Responder responder_ KELM_GUARDED_BY(mutex_);
    std::vector<platform::UrlRequest> requests_ KELM_GUARDED_BY(mutex_);
    std::deque<std::shared_ptr<Task>> waiting_ KELM_GUARDED_BY(mutex_);
  };

  class Task final : public platform::DataTask, public std::enable_shared_from_this<Task> {
   public:
    Task(std::shared_ptr<Core> core, std::shared_ptr<const Shared> session,
         platform::UrlRequest request, platform::UrlSession::Completion completion)
        : core_(std::move(core)),
          session_(std::move(session)),
          request_(std::move(request)),
          completion_(std::move(completion)) {}

    std::uint64_t id() const override { return id_; }
    void resume() override {
      if (state_.fetch_or(kResumed) == 0) core_->enqueue(start());
    }
    void cancel() override {
      if (state_.fetch_or(kCancelled) == 0) core_->enqueue(shared_from_this());
    }
    void complete() {
      const bool cancelled = (state_.fetch_or(kEnded) & kCancelled) != 0;
      const std::string url = request_.url.value_or("");
      Answer answer;
      if (cancelled)
        answer.error = platform::urlError(platform::url_error::kCancelled, url);
      else if ((answer.error = platform::requestProblem(request_)))
        ;
      else
        answer = core_->answerFor(request_);
      finish(std::move(answer), url);
    }

   private:
    static constexpr unsigned kResumed = 1, kCancelled = 2, kEnded = 4;

    std::shared_ptr<Task> start() {
      for (const auto& [name, value] : session_->configuration.additionalHeaders)
        if (!request_.header(name)) request_.headers.set(name, value);
      const auto& cookies = session_->configuration.cookies;
      if (cookies && !request_.header("Cookie")) {
        const std::string header =
            platform::cookieHeader(cookies->cookiesFor(request_.url.value_or("")));
        if (!header.empty()) request_.headers.set("Cookie", header);
      }
      if (!platform::requestProblem(request_)) core_->record(request_);
      return shared_from_this();
    }

    void finish(Answer answer, const std::string& url);
    void reportProgress(const Data& body) const {
      if (!session_->delegate) return;
      const auto sent = request_.body ? static_cast<std::int64_t>(request_.body->size()) : 0;
      const auto received = static_cast<std::int64_t>(body.size());
      if (sent > 0) session_->delegate->didSendBodyData(id_, sent, sent);
      if (received > 0) session_->delegate->didReceiveData(id_, received, received);
    }

    static std::uint64_t nextId() {
      static std::atomic<std::uint64_t> last{0};
      return ++last;
    }

    const std::uint64_t id_ = nextId();
    const std::shared_ptr<Core> core_;
    const std::shared_ptr<const Shared> session_;
    platform::UrlRequest request_;
    platform::UrlSession::Completion completion_;
    std::atomic<unsigned> state_{0};
  };

  class Session final : public platform::UrlSession {
   public:
    Session(std::shared_ptr<Core> core, platform::UrlSessionConfiguration configuration,
            std::shared_ptr<platform::UrlSessionDelegate> delegate)
        : core_(std::move(core)),
          shared_(std::make_shared<Shared>(Shared{std::move(configuration), std::move(delegate)})) {
    }

    std::shared_ptr<platform::DataTask> makeDataTask(const platform::UrlRequest& request,
                                                     Completion completion) override {
      return std::make_shared<Task>(core_, shared_, request, std::move(completion));
    }
    const platform::UrlSessionConfiguration& configuration() const override {
      return shared_->configuration;
    }

   private:
    const std::shared_ptr<Core> core_;
    const std::shared_ptr<const Shared> shared_;
  };

  const std::shared_ptr<Core> core_;
};

}  // namespace kelm::test
