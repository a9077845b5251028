#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/http/url_session.h"
#include "kelm/testing/manual_clock.h"
#include "kelm/testing/memory_console.h"
#include "kelm/testing/memory_url_sessions.h"
#include "kelm/testing/servers/http_server.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {

constexpr auto kUrlLimit = std::chrono::minutes(1);  // never reached by a test that passes

/// What a completion was given.
struct UrlOutcome {
  Data body;
  std::shared_ptr<const platform::UrlResponse> response;
  std::optional<Error> error;

  std::string text() const { return std::string(textOf(body)); }
  int status() const { return response ? response->statusCode : 0; }
  std::int64_t code() const { return error ? error->code : 0; }
};

/// Receives one completion, and notices a second one.
class UrlReceiver {
 public:
  platform::UrlSession::Completion completion() const {
    return [state = state_](Data body, auto response, auto error) {
      const Lock lock(state->mutex);
      state->outcomes.push_back({std::move(body), std::move(response), std::move(error)});
      state->changed.notify_all();
    };
  }
  /// The outcome, once it is there.
  UrlOutcome await() const {
    const Lock lock(state_->mutex);
    const bool came = state_->changed.wait_for(state_->mutex, kUrlLimit,
                                               [this]() { return !state_->outcomes.empty(); });
    EXPECT_TRUE(came) << "no completion";
    EXPECT_LE(state_->outcomes.size(), 1U);
    return came ? state_->outcomes.front() : UrlOutcome{};
  }
  std::size_t count() const {
    const Lock lock(state_->mutex);
    return state_->outcomes.size();
  }

 private:
  struct State {
    Mutex mutex;
    std::condition_variable_any changed;
    std::vector<UrlOutcome> outcomes;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Remembers what it was told, and answers challenges as the test says. It is called on one thread;
/// the test looks once it has the completion.
class RecordingUrlDelegate : public platform::UrlSessionDelegate {
 public:
  Disposition didReceiveChallenge(const platform::ServerTrust& trust) override {
    if (isFaulty) throw std::runtime_error("from the challenge");
    trusts.push_back(trust);
    return disposition;
  }
  void didSendBodyData(std::uint64_t, std::int64_t soFar, std::int64_t expected) override {
    sent.emplace_back(soFar, expected);
  }
  void didReceiveData(std::uint64_t, std::int64_t soFar, std::int64_t expected) override {
    if (isFaulty) throw std::runtime_error("from the delegate");
    received.emplace_back(soFar, expected);
  }

  bool isFaulty = false;  // throws
  Disposition disposition = Disposition::PerformDefaultHandling;
  std::vector<platform::ServerTrust> trusts;
  std::vector<std::pair<std::int64_t, std::int64_t>> sent, received;
};

inline platform::UrlRequest requestTo(std::string url, std::string method = "GET") {
  platform::UrlRequest request;
  request.url = std::move(url);
  request.method = std::move(method);
  return request;
}

/// This system's sessions, with a clock and a console that the test has in its hands.
class UrlSessionTest : public ::testing::Test {
 protected:
  std::shared_ptr<platform::UrlSession> makeSession(
      platform::UrlSessionConfiguration configuration = {},
      std::shared_ptr<platform::UrlSessionDelegate> delegate = {}) const {
    return sessions->make(std::move(configuration), std::move(delegate));
  }
  static UrlReceiver start(platform::UrlSession& session, const platform::UrlRequest& request) {
    UrlReceiver receiver;
    session.makeDataTask(request, receiver.completion())->resume();
    return receiver;
  }
  static UrlOutcome perform(platform::UrlSession& session, const platform::UrlRequest& request) {
    return start(session, request).await();
  }
  UrlOutcome get(const std::string& url) const { return perform(*makeSession(), requestTo(url)); }

  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  std::shared_ptr<MemoryConsole> console = std::make_shared<MemoryConsole>();
  platform::ScopedService<platform::Clock> clockScope{clock};
  platform::ScopedService<platform::Console> consoleScope{console};
  std::shared_ptr<platform::UrlSessions> sessions = platform::UrlSessions::makeSystem();
};

}  // namespace kelm::testing
