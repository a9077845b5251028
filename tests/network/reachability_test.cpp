// The meaning of a network's flags, and when a change is posted.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kelm/network/kelm_reachability.h"
#include "kelm/testing/memory_reachability.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using Status = KelmNetworkStatus;

class ReachabilityTest : public ::testing::Test {
 protected:
  std::unique_ptr<platform::NotificationCenter::Registration> observe(
      std::function<void()> observer) {
    return services.notificationCenter->observe(
        "kNetworkReachabilityChangedNotification",
        [this, observer = std::move(observer)](const platform::Notification& notification) {
          senders.push_back(notification.sender.get());
          if (observer) observer();
        });
  }

  TestPlatform services;
  const TestScope scope{services};
  const std::shared_ptr<MemoryReachability> network = std::make_shared<MemoryReachability>();
  const platform::ScopedService<platform::Reachability> inPlace{network};
  std::vector<Object*> senders;
};

TEST_F(ReachabilityTest, FlagsBecomeTheStatusInOrder) {
  const struct {
    std::optional<platform::ReachabilityFlags> flags;
    int status, localWiFi;
    bool connectionRequired;
  } table[] = {
      {std::nullopt, 0, 0, false}, {0, 0, 0, false},       {0x40000, 0, 0, false},
      {0x2, 1, 0, false},          {0x20002, 1, 1, false}, {0x20000, 0, 0, false},
      {0x40006, 2, 0, true},       {0x6, 0, 0, true},      {0x26, 1, 0, true},
      {0xe, 1, 0, true},           {0x36, 0, 0, true},     {0x32, 1, 0, false},
      {0x60006, 2, 1, true},
  };
  const auto internet = KelmReachability::reachabilityForInternetConnection();
  const auto localWiFi = KelmReachability::reachabilityForLocalWiFi();
  for (const auto& row : table) {
    network->setFlags(row.flags);
    SCOPED_TRACE(row.flags.value_or(0));
    EXPECT_EQ(static_cast<int>(internet->currentReachabilityStatus()), row.status);
    EXPECT_EQ(static_cast<int>(localWiFi->currentReachabilityStatus()), row.localWiFi);
    EXPECT_EQ(internet->connectionRequired(), row.connectionRequired);
  }
  EXPECT_THAT(network->targets(), ::testing::ElementsAre("0.0.0.0", "169.254.0.0"));
  EXPECT_EQ(KelmReachability::reachabilityWithHostName(""), nullptr);
}

TEST_F(ReachabilityTest, ChangesArePostedOnTheLoopUntilTheNotifierStops) {
  const auto host = KelmReachability::reachabilityWithHostName("shop");
  const auto registration = observe({});
  EXPECT_TRUE(host->startNotifier());
  EXPECT_TRUE(host->startNotifier()) << "replaces the first";
  network->setFlags(0x2);
  network->setFlags(0x2);
  EXPECT_THAT(senders, ::testing::IsEmpty()) << "before the loop runs";
  services.dispatcher->runUntilIdle();
  EXPECT_THAT(senders, ::testing::ElementsAre(host.get()));
  network->setFlags(0);
  host->stopNotifier();
  services.dispatcher->runUntilIdle();
  EXPECT_EQ(senders.size(), 1U) << "what was on its way is dropped";
}

TEST_F(ReachabilityTest, ObserverMayDropTheObjectThatIsPosted) {
  auto host = KelmReachability::reachabilityWithHostName("shop");
  const auto registration = observe([&] { host.reset(); });
  ASSERT_TRUE(host->startNotifier());
  network->setFlags(0x2);
  services.dispatcher->runUntilIdle();
  network->setFlags(0);
  services.dispatcher->runUntilIdle();
  EXPECT_EQ(senders.size(), 1U);
}

TEST_F(ReachabilityTest, NotifierNeedsAQueueAndASystemThatWatches) {
  const auto host = KelmReachability::reachabilityWithHostName("shop");
  bool started = true;
  std::thread([&] { started = host->startNotifier(); }).join();
  EXPECT_FALSE(started);
  services.dispatcher->makeSerialQueue("host")->runAndWait(
      [&] { started = host->startNotifier(); });
  EXPECT_TRUE(started);
  network->refuseWatches();
  EXPECT_FALSE(host->startNotifier());
}

}  // namespace
}  // namespace kelm::testing
