#include "kelm/platform/application.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/platform/in_process/in_process_application.h"
#include "kelm/testing/manual_dispatcher.h"
#include "kelm/testing/memory_console.h"

namespace kelm::testing {
namespace {

TEST(InProcessApplication, RunningTasksExpireOnTheMainLoopUnlessTheyEndBefore) {
  const auto dispatcher = std::make_shared<ManualDispatcher>(std::make_shared<ManualClock>(),
                                                             std::make_shared<MemoryConsole>());
  const platform::ScopedService<platform::Dispatcher> scope(dispatcher);
  platform::InProcessApplication application;
  std::vector<std::string> expired;
  const auto expiring = [&](std::string name) { return [&, name] { expired.push_back(name); }; };
  const auto held = std::make_shared<int>();
  application.beginBackgroundTask("one", expiring("one"));
  const auto two = application.beginBackgroundTask("two", [held, ran = expiring("two")] { ran(); });
  application.beginBackgroundTask("silent", {});
  application.beginBackgroundTask("three", expiring("three"));
  application.expireBackgroundTasks();
  EXPECT_THAT(expired, ::testing::IsEmpty());
  for (const auto task : {two, two, platform::Application::kInvalidBackgroundTask})
    application.endBackgroundTask(task);
  EXPECT_EQ(application.runningBackgroundTasks(), 3U);
  EXPECT_EQ(held.use_count(), 1) << "an ended task releases its callback";
  dispatcher->runUntilIdle();
  EXPECT_THAT(expired, ::testing::ElementsAre("one", "three"));
}

}  // namespace
}  // namespace kelm::testing
