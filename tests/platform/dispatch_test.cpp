// What the dispatcher of the system does beside the contract.

#include <poll.h>

#include <chrono>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/platform/dispatch.h"
#include "kelm/testing/memory_console.h"

namespace kelm::testing {
namespace {

using namespace std::chrono_literals;

struct SystemLoop {
  std::shared_ptr<platform::Dispatcher> dispatcher = platform::Dispatcher::makeSystem();
  platform::MainLoop& loop = dispatcher->mainLoop();

  bool isReadable(int timeoutMilliseconds = 0) const {
    pollfd descriptor{loop.descriptor(), POLLIN, 0};
    return poll(&descriptor, 1, timeoutMilliseconds) == 1;
  }
};

constexpr int kLimitMilliseconds = 60'000;

TEST(SystemMainLoop, DescriptorIsReadableWhileSomethingIsDue) {
  SystemLoop f;
  f.loop.postAfter(1h, [] {});
  EXPECT_FALSE(f.isReadable());
  EXPECT_FALSE(f.loop.runPending());
  int ran = 0;
  platform::Task again = [&] {
    if (++ran < 3) f.loop.post(again);
  };
  std::jthread([&] { f.loop.post(again); }).join();
  for (const int runs : {1, 2, 3}) {
    EXPECT_TRUE(f.isReadable());
    EXPECT_TRUE(f.loop.runPending());
    EXPECT_EQ(ran, runs) << "what a task posts is left for the next turn";
  }
  EXPECT_FALSE(f.isReadable());
}

TEST(SystemMainLoop, DescriptorWakesItsHostForTimersAlsoAfterRunUntilWasLeftEarly) {
  SystemLoop f;
  int ran = 0;
  for (int i = 0; i < 2; ++i)
    f.loop.post([&] { ++ran; });
  EXPECT_TRUE(f.loop.runUntil([&] { return ran == 1; }, 1min));
  EXPECT_TRUE(f.isReadable());
  const auto timer = f.loop.every(1ms, [&] { ++ran; });
  f.loop.runUntil([&] { return ran == 2; }, 1min);
  while (ran < 4) {
    ASSERT_TRUE(f.isReadable(kLimitMilliseconds));
    f.loop.runPending();
  }
}

TEST(SystemDispatcher, WaitingGlobalTasksRunByPriority) {
  SystemLoop f;
  constexpr int kWorkers = 16;
  struct Gates {
    std::latch busy{kWorkers};
    std::latch go{1};
    std::latch done{2};
  };
  const auto gates = std::make_shared<Gates>();  // waits may outlive the test
  for (int i = 0; i < kWorkers; ++i)
    f.dispatcher->postGlobal(platform::Priority::Default, [gates, i] {
      gates->busy.count_down();
      (i == 0 ? gates->go : gates->done).wait();  // the first alone takes the two tasks below
    });
  gates->busy.wait();
  std::vector<std::string> order;
  for (const auto& [priority, name] : {std::pair(platform::Priority::Background, "background"),
                                       std::pair(platform::Priority::High, "high")})
    f.dispatcher->postGlobal(priority, [&order, gates, name = name] {
      order.emplace_back(name);
      gates->done.count_down();
    });
  gates->go.count_down();
  gates->done.wait();
  EXPECT_THAT(order, ::testing::ElementsAre("high", "background"));
}

}  // namespace
}  // namespace kelm::testing
