// Random orders of everything that can happen to a task: whatever the order, its completion is
// called at most once, and exactly once when it was started and answered without being disposed of
// before; nothing stays alive or begun.

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using testing::NetworkFixture;

constexpr int kSchedules = 3000;

/// One task with its random life.
class Life {
 public:
  Life(NetworkFixture& fixture, std::mt19937& random, std::shared_ptr<platform::UrlSession> session)
      : fixture_(fixture),
        random_(random),
        task_(testing::taskFor("http://h/p?a=1", static_cast<ZuHTTPMethod>(below(6)),
                               below(10) == 0 ? nullptr : std::move(session))) {
    task_->setForceCompletitionMainThread(below(2) == 0);
  }

  void run() {
    for (int i = 0; i < 12; ++i)
      step();
    dropReference();
    for (int i = 0; i < 2; ++i) {
      fixture_.sessions.deliverAll();
      fixture_.dispatcher.runUntilIdle();
    }
  }

  void check() const {
    EXPECT_LE(completions_, 1);
    EXPECT_GE(completions_, started_ && !disposedEarly_);
    EXPECT_TRUE(watched_.expired());
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  void step() {
    const unsigned kind = below(20);
    if (kind < 5) start();
    if (kind >= 5 && kind < 8) fixture_.sessions.deliver();
    if (kind >= 8 && kind < 11) fixture_.dispatcher.runUntilIdle();
    if (kind == 11) dropReference();
    if (!task_) return;
    if (kind >= 12 && kind < 15) task_->abortNetworkTask();
    if (kind == 15) {
      disposedEarly_ |= completions_ == 0;
      task_->dispose();
    }
    if (kind > 15) task_->setDownloadProgressValue(0.5);
  }

  void start() {
    if (!task_ || started_) return;
    started_ = true;
    task_->performWithTransformation_withNetworkCompletion(
        [throws = below(4) == 0](const std::shared_ptr<ZuHTTPResponse>& response) {
          if (throws) throw std::runtime_error("transformation");
          return Value(response);
        },
        [this, action = below(6), keptAlive = below(2) == 0 ? task_ : nullptr](
            const std::optional<Value>& result, const std::optional<Error>& error) {
          ++completions_;
          EXPECT_NE(result.has_value(), error.has_value());
          act(action);
        });
  }

  /// What a completion does.
  void act(unsigned action) {
    if (action == 0) dropReference();
    if (action == 1 && task_) task_->dispose();
    if (action == 2) throw std::runtime_error("completion");
    if (action == 3 && task_) task_->abortNetworkTask();
    if (action == 4 && task_)
      task_->handleProcessingOfData_withURLResponse_withNetworkError_andWithTransformation(
          {}, nullptr, std::nullopt, nullptr);
  }

  void dropReference() {
    if (task_) watched_ = task_;
    task_.reset();
  }

  NetworkFixture& fixture_;
  std::mt19937& random_;
  std::shared_ptr<ZuHTTPTask> task_;
  std::weak_ptr<ZuHTTPTask> watched_;
  int completions_ = 0;
  bool started_ = false;
  bool disposedEarly_ = false;
};

TEST(TaskSchedule, RandomOrdersCompleteOnceAndLeaveNothingBehind) {
  NetworkFixture f;
  std::mt19937 random(7);
  const auto session = f.sessions.make({});
  for (int i = 0; i < kSchedules && !::testing::Test::HasFailure(); ++i) {
    if (random() % 3 == 0)
      f.sessions.answer({200, {{"Set-Cookie", "a=1"}}, dataOf("ok"), std::nullopt});
    else if (random() % 3 == 0)
      f.sessions.answer({0, {}, {}, platform::urlError(platform::url_error::kConnectionLost)});
    Life life(f, random, session);
    life.run();
    life.check();
    std::size_t begun = 0, ended = 0;
    for (const std::string& event : f.application->takeEvents()) {
      begun += event.starts_with("begin");
      ended += event.starts_with("end");
    }
    EXPECT_EQ(begun, ended) << "schedule " << i;
    f.log.clear();
  }
}

}  // namespace
}  // namespace kelm
