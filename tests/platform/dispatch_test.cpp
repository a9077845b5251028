// What the system's dispatcher and the driven one do each in their own way.

#include <poll.h>

#include <latch>
#include <thread>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/platform/linux/services.h"
#include "tests/support/manual_dispatcher.h"
#include "tests/support/memory_console.h"

namespace kelm::test {
namespace {

using namespace std::chrono_literals;

struct SystemLoop {
  std::shared_ptr<platform::Dispatcher> dispatcher =
      platform::makeDispatcher(platform::makeSystemClock(), std::make_shared<MemoryConsole>());
  platform::MainLoop& loop = dispatcher->mainLoop();

  bool isReadable(int timeoutMilliseconds = 0) const {
    pollfd descriptor{loop.descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, timeoutMilliseconds) == 1;
  }
};

constexpr int kLimitMilliseconds = 60'000;

TEST(SystemMainLoop, DescriptorIsReadableWhileSomethingIsDue) {
  SystemLoop f;
  EXPECT_FALSE(f.isReadable());
  EXPECT_FALSE(f.loop.runPending());
  int ran = 0;
  std::jthread([&] { f.loop.post([&] { ++ran; }); }).join();
  EXPECT_TRUE(f.isReadable());
  EXPECT_TRUE(f.loop.runPending());
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(f.isReadable());
}

TEST(SystemMainLoop, TaskThatPostsIsLeftForTheNextTurn) {
  SystemLoop f;
  int ran = 0;
  platform::Task again = [&] {
    ++ran;
    f.loop.post(again);
  };
  f.loop.post(again);
  EXPECT_TRUE(f.loop.runPending());
  EXPECT_EQ(ran, 1);
  EXPECT_TRUE(f.isReadable());
  EXPECT_TRUE(f.loop.runPending());
  EXPECT_EQ(ran, 2);
}

TEST(SystemMainLoop, DescriptorWakesItsHostForTimers) {
  SystemLoop f;
  int ran = 0;
  f.loop.postAfter(1h, [] {});
  EXPECT_FALSE(f.isReadable());
  const auto timer = f.loop.every(1ms, [&] { ++ran; });
  for (const int runs : {1, 2}) {
    while (ran < runs) {
      ASSERT_TRUE(f.isReadable(kLimitMilliseconds));
      f.loop.runPending();
    }
  }
}

TEST(SystemMainLoop, LeavingRunUntilEarlyKeepsTheDescriptorReadable) {
  SystemLoop f;
  int ran = 0;
  f.loop.post([&] { ++ran; });
  f.loop.post([&] { ++ran; });
  EXPECT_TRUE(f.loop.runUntil([&] { return ran == 1; }, 1min));
  EXPECT_TRUE(f.isReadable());
  f.loop.postAfter(1ms, [&] { ++ran; });
  f.loop.runUntil([&] { return ran == 2; }, 1min);
  EXPECT_TRUE(f.isReadable(kLimitMilliseconds));
}

TEST(SystemMainLoop, AttachingMovesTheMainThread) {
  SystemLoop f;
  EXPECT_TRUE(f.loop.isMainThread());
  std::jthread([&] {
    EXPECT_FALSE(f.loop.isMainThread());
    f.loop.attachToCurrentThread();
    EXPECT_TRUE(f.loop.isMainThread());
  }).join();
  EXPECT_FALSE(f.loop.isMainThread());
}

TEST(SystemDispatcher, BlockedGlobalTasksDoNotKeepOthersWaiting) {
  SystemLoop f;
  constexpr int kTasks = 8;
  const auto all = std::make_shared<std::latch>(kTasks + 1);  // waits may outlive the test
  for (int i = 0; i < kTasks; ++i)
    f.dispatcher->postGlobal(platform::Priority::Default, [all] { all->arrive_and_wait(); });
  all->arrive_and_wait();
  EXPECT_TRUE(all->try_wait());
}

TEST(SystemDispatcher, WaitingGlobalTasksRunByPriority) {
  SystemLoop f;
  constexpr int kWorkers = 16;
  struct Gates {
    std::latch busy{kWorkers + 1};
    std::latch go{1};
    std::latch done{kWorkers + 2};
  };
  const auto gates = std::make_shared<Gates>();  // waits may outlive the test
  for (int i = 0; i < kWorkers; ++i) {
    f.dispatcher->postGlobal(platform::Priority::Default, [gates, isLast = i == kWorkers - 1] {
      gates->busy.count_down();
      if (isLast)
        gates->go.wait();  // this worker alone takes the two tasks below
      else
        gates->done.wait();
    });
    if (i < kWorkers - 1) gates->done.count_down();
  }
  gates->busy.arrive_and_wait();
  std::vector<std::string> order;
  f.dispatcher->postGlobal(platform::Priority::Background, [&order, gates] {
    order.emplace_back("background");
    gates->done.count_down();
  });
  f.dispatcher->postGlobal(platform::Priority::High, [&order, gates] {
    order.emplace_back("high");
    gates->done.count_down();
  });
  gates->go.count_down();
  gates->done.count_down();
  gates->done.wait();
  EXPECT_THAT(order, testing::ElementsAre("high", "background"));
}

struct Driven {
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  ManualDispatcher dispatcher{clock, std::make_shared<MemoryConsole>()};
  platform::MainLoop& loop = dispatcher.mainLoop();
};

TEST(ManualDispatcher, OneDrivenHourFiresEveryTimerAsOftenAsARealOne) {
  Driven f;
  int flushes = 0;
  int reconnects = 0;
  const auto flush = f.loop.every(500ms, [&] { ++flushes; });
  const auto queue = f.dispatcher.makeSerialQueue("remote");
  const auto reconnect = queue->every(5s, [&] { ++reconnects; });
  const double start = f.clock->now().secondsSince1970;
  f.dispatcher.advance(1h);
  EXPECT_EQ(flushes, 7200);
  EXPECT_EQ(reconnects, 720);
  EXPECT_NEAR(f.clock->now().secondsSince1970 - start, 3600, 1e-3);
}

TEST(ManualDispatcher, MissedRunsAreSkippedAndThePaceKept) {
  Driven f;
  int runs = 0;
  const auto timer = f.loop.every(1s, [&] { ++runs; });
  f.clock->advance(3500ms);
  f.dispatcher.runUntilIdle();
  EXPECT_EQ(runs, 1);
  f.dispatcher.advance(499ms);
  EXPECT_EQ(runs, 1);
  f.dispatcher.advance(1ms);
  EXPECT_EQ(runs, 2);
}

TEST(ManualDispatcher, NothingRunsUnlessTheTestSaysSo) {
  Driven f;
  int runs = 0;
  f.loop.post([&] { ++runs; });
  f.dispatcher.makeSerialQueue("quiet")->post([&] { ++runs; });
  f.loop.postAfter(1s, [&] { ++runs; });
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(f.dispatcher.waiting(), 3U);
  EXPECT_EQ(f.dispatcher.runUntilIdle(), 2U);
  EXPECT_EQ(runs, 2);
}

}  // namespace
}  // namespace kelm::test
