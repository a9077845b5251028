#include "kelm/platform/service.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace kelm::testing {

/// A service of the tests alone, whose maker the test supplies.
class Greeter {
 public:
  explicit Greeter(int value) : number(value) {}
  static platform::Slot<Greeter>& slot();
  static std::shared_ptr<Greeter> makeSystem();

  const int number;
};

namespace {

constexpr int kMade = 1;
std::function<void()> duringMaking = [] {};
std::atomic<int> makings{0};

int current() { return platform::current<Greeter>()->number; }

struct Guard : platform::ScopedService<Greeter> {
  explicit Guard(int number) : ScopedService(std::make_shared<Greeter>(number)) {}
};

/// Each test finds an empty slot.
class ServiceSlot : public ::testing::Test {
 protected:
  ServiceSlot() {
    Greeter::slot().exchange(nullptr);
    makings = 0;
  }
  ~ServiceSlot() override {
    duringMaking = [] {};
  }
};

TEST_F(ServiceSlot, NestedGuardsPutBackWhatWasThereAndAnEmptySlotStaysEmpty) {
  {
    const Guard outer(5);
    {
      const Guard inner(6);
      EXPECT_EQ(current(), 6);
    }
    EXPECT_EQ(current(), 5);
  }
  EXPECT_EQ(makings, 0);
  EXPECT_EQ(current(), kMade);
  platform::use(std::make_shared<Greeter>(7));
  { const Guard guard(8); }
  EXPECT_EQ(current(), 7);
}

TEST_F(ServiceSlot, ServicePutInPlaceWhileTheSystemsOwnIsMadeWins) {
  duringMaking = [] { platform::use(std::make_shared<Greeter>(9)); };
  EXPECT_EQ(current(), 9);
}

TEST_F(ServiceSlot, MakerThatNeedsItselfFailsAndTheNextCallTriesAgain) {
  duringMaking = [] { (void)current(); };
  EXPECT_THROW((void)current(), std::logic_error);
  duringMaking = [] {};
  EXPECT_EQ(current(), kMade);
}

TEST_F(ServiceSlot, ThreadsMakeOneServiceWhileOthersReplaceIt) {
  std::vector<std::jthread> threads;
  std::atomic<int> foreign{0};
  for (int thread = 0; thread < 8; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 1000; ++i) {
        if (thread == 0 && i % 100 == 50) platform::use(std::make_shared<Greeter>(2));
        if (const int number = current(); number != kMade && number != 2) ++foreign;
      }
    });
  threads.clear();
  EXPECT_EQ(foreign, 0);
  EXPECT_LE(makings, 1);
  EXPECT_EQ(current(), 2);
}

}  // namespace

platform::Slot<Greeter>& Greeter::slot() {
  static constinit platform::Slot<Greeter> held;
  return held;
}

std::shared_ptr<Greeter> Greeter::makeSystem() {
  ++makings;
  duringMaking();
  return std::make_shared<Greeter>(kMade);
}

}  // namespace kelm::testing
