#include "kelm/platform/application.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "tests/support/manual_dispatcher.h"
#include "tests/support/memory_application.h"
#include "tests/support/memory_console.h"

namespace kelm::test {
namespace {

using platform::Application;
using platform::LocalApplication;
using testing::ElementsAre;

struct Fixture {
  std::shared_ptr<ManualDispatcher> dispatcher = std::make_shared<ManualDispatcher>(
      std::make_shared<ManualClock>(), std::make_shared<MemoryConsole>());
  std::vector<std::string> expired;

  std::function<void()> expiring(std::string name) {
    return [this, name] { expired.push_back(name); };
  }
};

template <class T>
class ApplicationContract : public testing::Test {};
using Implementations = testing::Types<LocalApplication, MemoryApplication>;
TYPED_TEST_SUITE(ApplicationContract, Implementations);

TYPED_TEST(ApplicationContract, TasksHaveTheirOwnIdentifiersAndEndOnce) {
  Fixture f;
  TypeParam application(f.dispatcher);
  const auto one = application.beginBackgroundTask("one", {});
  const auto two = application.beginBackgroundTask("two", {});
  EXPECT_NE(one, Application::kInvalidBackgroundTask);
  EXPECT_NE(two, Application::kInvalidBackgroundTask);
  EXPECT_NE(one, two);
  EXPECT_EQ(application.runningBackgroundTasks(), 2U);
  for (const auto task : {one, one, Application::kInvalidBackgroundTask, two + 100})
    application.endBackgroundTask(task);
  EXPECT_EQ(application.runningBackgroundTasks(), 1U);
}

TYPED_TEST(ApplicationContract, RunningTasksExpireOnTheMainLoopUnlessTheyEndBefore) {
  Fixture f;
  TypeParam application(f.dispatcher);
  application.beginBackgroundTask("one", f.expiring("one"));
  const auto two = application.beginBackgroundTask("two", f.expiring("two"));
  application.beginBackgroundTask("silent", {});
  application.beginBackgroundTask("three", f.expiring("three"));
  application.expireBackgroundTasks();
  EXPECT_THAT(f.expired, ElementsAre());
  application.endBackgroundTask(two);
  f.dispatcher->runUntilIdle();
  EXPECT_THAT(f.expired, ElementsAre("one", "three"));
}

TYPED_TEST(ApplicationContract, EndedTaskReleasesItsExpiryCallback) {
  Fixture f;
  TypeParam application(f.dispatcher);
  const auto held = std::make_shared<int>();
  const auto task = application.beginBackgroundTask("x", [held] {});
  EXPECT_EQ(held.use_count(), 2);
  application.endBackgroundTask(task);
  EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST(ApplicationContract, IndicatorShowsTheLastWish) {
  Fixture f;
  TypeParam application(f.dispatcher);
  EXPECT_FALSE(application.isNetworkActivityIndicatorVisible());
  application.setNetworkActivityIndicatorVisible(true);
  EXPECT_TRUE(application.isNetworkActivityIndicatorVisible());
}

TEST(MemoryApplication, RefusedTaskIsRecordedButDoesNotRun) {
  Fixture f;
  MemoryApplication application(f.dispatcher);
  application.refuseBackgroundTasks(true);
  EXPECT_EQ(application.beginBackgroundTask("no", {}), Application::kInvalidBackgroundTask);
  EXPECT_EQ(application.runningBackgroundTasks(), 0U);
  EXPECT_THAT(application.taskNames(), ElementsAre("no"));
}

}  // namespace
}  // namespace kelm::test
