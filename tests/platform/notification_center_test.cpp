#include "kelm/platform/notification_center.h"

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace kelm::testing {
namespace {

using platform::Notification;
using platform::NotificationCenter;
using ::testing::ElementsAre;

class LocalCenter : public ::testing::Test {
 protected:
  std::unique_ptr<NotificationCenter::Registration> observe(std::string name, std::string label) {
    return center->observe(
        name, [this, label](const Notification& n) { seen.push_back(label + ":" + n.name); });
  }

  std::shared_ptr<NotificationCenter> center = platform::NotificationCenter::makeSystem();
  std::vector<std::string> seen;
};

TEST_F(LocalCenter, ObserversAreCalledInTheOrderTheyCameByTheirName) {
  const auto one = observe("sale", "one");
  const auto all = observe("", "all");
  const auto two = observe("sale", "two");
  center->post({"sale", nullptr, {}});
  center->post({"refund", nullptr, {}});
  EXPECT_THAT(seen, ElementsAre("one:sale", "all:sale", "two:sale", "all:refund"));
}

TEST_F(LocalCenter, EndedRegistrationIsNotCalledAndReleasesItsObserver) {
  const auto held = std::make_shared<int>();
  auto registration = center->observe("x", [held](const Notification&) { throw ++*held; });
  EXPECT_THROW(center->post({"x", nullptr, {}}), int);
  registration.reset();
  EXPECT_EQ(held.use_count(), 1);
  center->post({"x", nullptr, {}});
  EXPECT_EQ(*held, 1);
}

TEST_F(LocalCenter, ObserversMayComeAndGoWithinACall) {
  std::unique_ptr<NotificationCenter::Registration> self, next, added;
  self = center->observe("x", [&](const Notification&) {
    seen.emplace_back("self");
    next.reset();
    added = observe("x", "added");
    self.reset();
  });
  next = observe("x", "next");
  center->post({"x", nullptr, {}});
  EXPECT_THAT(seen, ElementsAre("self"));
  center->post({"x", nullptr, {}});
  EXPECT_THAT(seen, ElementsAre("self", "added:x"));
}

TEST_F(LocalCenter, EndingWaitsForTheCallInAnotherThread) {
  std::latch inside(1), leave(1);
  std::atomic<bool> left{false};
  auto registration = center->observe("x", [&](const Notification&) {
    inside.count_down();
    leave.wait();
    left = true;
  });
  std::jthread poster([&] { center->post({"x", nullptr, {}}); });
  inside.wait();
  std::jthread helper([&] { leave.count_down(); });
  registration.reset();
  EXPECT_TRUE(left);
}

TEST_F(LocalCenter, PostersAndObserversMeetFromManyThreads) {
  std::atomic<int> calls{0};
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const auto own = center->observe("x", [&](const Notification&) { ++calls; });
        center->post({"x", nullptr, {}});
      }
    });
  threads.clear();
  EXPECT_GE(calls, 4 * 200);
  const int before = calls;
  center->post({"x", nullptr, {}});
  EXPECT_EQ(calls, before);
}

}  // namespace
}  // namespace kelm::testing
