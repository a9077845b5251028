#include "kelm/device/deferred_calls.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DeferredCalls : public ::testing::Test {
 protected:
  std::function<void()> note(std::string text) {
    return [this, text] { seen.push_back(text); };
  }

  TestPlatform services;
  TestScope scope{services};
  std::vector<std::string> seen;
};

TEST_F(DeferredCalls, OnTheMainThreadOnlyTheSynchronousOneRunsBeforeItReturns) {
  performAsyncBlockOnMainThread(note("async"));
  performEnqueuedSyncBlockOnMainThread(note("enqueued"));
  performBlock_afterDelay(note("no delay"), -1);
  performSyncBlockOnMainThread(note("sync"));
  EXPECT_THAT(seen, ElementsAre("sync"));
  services.dispatcher->runUntilIdle();
  EXPECT_THAT(seen, ElementsAre("sync", "async", "enqueued", "no delay"));
}

TEST_F(DeferredCalls, DelaysAreSecondsAndEndlessOnesNeverEnd) {
  performBlock_afterDelay(note("own loop"), 2);
  performAsyncBlockOnMainThread_afterDelay(note("high"), 1);
  performEnqueuedAsyncBlockOnMainThread_afterDelay(note("default"), 1.5);
  performBlock_afterDelay(note("never"), 1e300);
  services.dispatcher->advance(std::chrono::milliseconds(999));
  EXPECT_THAT(seen, IsEmpty());
  services.dispatcher->advance(std::chrono::hours(1000));
  EXPECT_THAT(seen, ElementsAre("high", "default", "own loop"));
}

TEST_F(DeferredCalls, FromAnotherThreadTheSynchronousOneWaitsAndTheRunLoopOneIsDropped) {
  std::atomic<bool> returned{false};
  std::jthread other([&] {
    performBlock_afterDelay(note("run loop"), 0);
    performSyncBlockOnMainThread([&] { seen.push_back(returned ? "late" : "waited for"); });
    returned = true;
  });
  while (!returned)
    services.dispatcher->runUntilIdle();
  services.dispatcher->advance(std::chrono::seconds(1));
  EXPECT_THAT(seen, ElementsAre("waited for"));
}

}  // namespace
}  // namespace kelm::testing
