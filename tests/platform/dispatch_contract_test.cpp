// What every dispatcher does, the system's and the one that tests drive.

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/platform/dispatch.h"
#include "kelm/testing/manual_dispatcher.h"
#include "kelm/testing/memory_console.h"

namespace kelm::testing {
namespace {

using namespace std::chrono_literals;
using platform::Dispatcher;
using platform::MainLoop;
using platform::Queue;
using ::testing::ElementsAre;

constexpr auto kLimit = 1min;  // never reached by a test that passes

using Maker = std::shared_ptr<Dispatcher> (*)(std::shared_ptr<platform::Console>);

class DispatcherContract : public ::testing::TestWithParam<Maker> {
 protected:
  MainLoop& mainLoop() { return dispatcher->mainLoop(); }
  void runUntilCount(std::size_t count) {
    EXPECT_TRUE(mainLoop().runUntil([&] { return seen().size() >= count; }, kLimit));
  }
  void see(std::string what) {
    const Lock lock(mutex_);
    seen_.push_back(std::move(what));
  }
  std::vector<std::string> seen() {
    const Lock lock(mutex_);
    return seen_;
  }
  void clear() {
    const Lock lock(mutex_);
    seen_.clear();
  }
  platform::Task seeing(std::string what) {
    return [this, what] { see(what); };
  }

  std::shared_ptr<MemoryConsole> console = std::make_shared<MemoryConsole>();
  platform::ScopedService<platform::Console> consoleScope{console};
  std::shared_ptr<Dispatcher> dispatcher = GetParam()(console);
  std::shared_ptr<Queue> serial = dispatcher->makeSerialQueue("serial");
  const std::vector<Queue*> queues = {&mainLoop(), serial.get()};

 private:
  Mutex mutex_;
  std::vector<std::string> seen_;
};

TEST_P(DispatcherContract, TasksOfManyThreadsRunOneAtATimeAndInEachThreadsOrder) {
  constexpr int kThreads = 4;
  constexpr int kTasks = 2000;
  std::vector<int> last(kThreads, -1);
  int disordered = 0;
  std::atomic<int> count{0};
  std::vector<std::jthread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kTasks; ++i)
        serial->post([&, t, i] {
          disordered += std::exchange(last[t], i) != i - 1;
          ++count;
        });
    });
  threads.clear();
  EXPECT_TRUE(mainLoop().runUntil([&] { return count == kThreads * kTasks; }, kLimit));
  EXPECT_EQ(disordered, 0);
}

TEST_P(DispatcherContract, ThrowingTaskIsReportedAndTheNextOneRuns) {
  serial->post([] { throw std::runtime_error("no paper"); });
  serial->post([] { throw 7; });
  serial->post(seeing("serial"));
  runUntilCount(1);
  dispatcher->postGlobal(platform::Priority::Default, [] { throw std::runtime_error("no net"); });
  EXPECT_TRUE(mainLoop().runUntil([&] { return console->lines().size() == 3; }, kLimit));
  const auto timer = mainLoop().every(1ms, [] { throw std::runtime_error("no ink"); });
  EXPECT_TRUE(mainLoop().runUntil([&] { return console->lines().size() == 5; }, kLimit));
  EXPECT_THAT(console->lines(),
              ElementsAre("LOG ERROR no paper", "LOG ERROR unknown exception", "LOG ERROR no net",
                          "LOG ERROR no ink", "LOG ERROR no ink"));
}

TEST_P(DispatcherContract, DelayedTasksRunByTimeThenByAge) {
  for (Queue* queue : queues) {
    clear();
    // Posted by a task, so that no delay is over before all are known.
    queue->post([&, queue] {
      queue->postAfter(4ms, seeing("late"));
      queue->postAfter(2ms, seeing("early"));
      queue->postAfter(-1s, seeing("overdue"));
      queue->postAfter(platform::Duration::max(), seeing("never"));
      queue->post(seeing("now"));
    });
    runUntilCount(4);
    EXPECT_THAT(seen(), ::testing::UnorderedElementsAre("overdue", "now", "early", "late"));
    EXPECT_EQ(seen()[2] + seen()[3], "earlylate");
  }
}

TEST_P(DispatcherContract, RepeatingTimerRunsUntilItsOwnTaskDestroysIt) {
  for (Queue* queue : queues) {
    const auto held = std::make_shared<int>();
    int runs = 0;
    std::atomic<bool> over{false};
    std::unique_ptr<platform::Timer> timer;
    queue->runAndWait([&] {
      timer = queue->every(1ms, [&, held] {
        if (++runs < 3) return;
        timer.reset();
        queue->postAfter(3ms, [&] { over = true; });
      });
    });
    ASSERT_TRUE(mainLoop().runUntil([&] { return over.load(); }, kLimit));
    EXPECT_EQ(runs, 3);
    EXPECT_EQ(held.use_count(), 1) << "the task is gone";
  }
}

TEST_P(DispatcherContract, RunAndWaitTakesItsTurnAndRunsInPlaceOnItsOwnQueue) {
  serial->post(seeing("first"));
  serial->runAndWait([&] {
    see("second");
    serial->post(seeing("fourth"));
    serial->runAndWait(seeing("third"));
  });
  EXPECT_THAT(seen(), ::testing::Contains("third"));
  runUntilCount(4);
  EXPECT_THAT(seen(), ElementsAre("first", "second", "third", "fourth"));
  for (Queue* queue : queues)
    EXPECT_THROW(queue->runAndWait([] { throw std::out_of_range("x"); }), std::out_of_range);
  EXPECT_THAT(console->lines(), ElementsAre());
}

TEST_P(DispatcherContract, EveryTaskKnowsWhereItRunsAndOtherThreadsWaitForTheMainLoop) {
  const auto other = dispatcher->makeSerialQueue("other");
  const auto where = [&] {
    return std::string(serial->isCurrent() ? "serial " : "") +
           (other->isCurrent() ? "other " : "") + (mainLoop().isMainThread() ? "main" : "");
  };
  serial->runAndWait([&] {
    see(where());
    other->runAndWait([&] { see(where()); });
  });
  std::atomic<bool> ended{false};
  std::jthread thread([&] {
    mainLoop().runAndWait([&] { see(where()); });
    ended = true;
  });
  while (!ended)
    mainLoop().runPending();
  dispatcher->postGlobal(platform::Priority::High, [&] { see(where()); });
  runUntilCount(4);
  EXPECT_THAT(seen(), ElementsAre("serial ", "other ", "main", ""));
}

TEST_P(DispatcherContract, DroppedQueueStillRunsWhatWasPosted) {
  serial->post(seeing("now"));
  serial->postAfter(1ms, seeing("delayed"));
  const auto timer = serial->every(1ms, seeing("timer"));
  serial.reset();
  runUntilCount(4);
  const auto order = seen();
  EXPECT_EQ(order[0] + order[1] + order[2] + order[3], "nowdelayedtimertimer");
}

TEST_P(DispatcherContract, RunEndsAtStopEvenAnEarlierOneAndATaskThatRunsTheLoopKeepsTheOrder) {
  mainLoop().stop();
  mainLoop().run();
  mainLoop().post([&] {
    see("outer");
    mainLoop().runUntil([&] { return seen().size() == 3; }, kLimit);
    see("outer's end");
  });
  for (const char* later : {"second", "third"})
    mainLoop().post(seeing(later));
  mainLoop().post([&] {
    see("last");
    mainLoop().stop();
  });
  mainLoop().postAfter(1h, seeing("too late"));
  mainLoop().run();
  EXPECT_THAT(seen(), ElementsAre("outer", "second", "third", "outer's end", "last"));
}

std::shared_ptr<Dispatcher> makeSystem(std::shared_ptr<platform::Console>) {
  return Dispatcher::makeSystem();
}
std::shared_ptr<Dispatcher> makeManual(std::shared_ptr<platform::Console> console) {
  return std::make_shared<ManualDispatcher>(std::make_shared<ManualClock>(), console);
}
INSTANTIATE_TEST_SUITE_P(, DispatcherContract, ::testing::Values(makeSystem, makeManual),
                         [](const auto& kind) { return kind.index == 0 ? "System" : "Manual"; });

}  // namespace
}  // namespace kelm::testing
