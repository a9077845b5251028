// Every call of the services below fails in its turn, once or for ever after, and the power goes.
#include "tests/queue/queue_fixture.h"

namespace kelm::test {
namespace {

using ::testing::Each;
using ::testing::IsSubsetOf;
using ::testing::Not;

constexpr const char* kOld[] = {"1600000000000___q.dat", "1600000000001___q.dat"};
constexpr const char* kNew = "1700000000500___q.dat";

enum class Duration { Once, ForEver };
enum class Service { Files, Attributes };

struct FaultFixture : QueueFixture {
  FaultFixture() {
    for (const char* name : kOld)
      put(name, name);
    accept("q");
    log.clear();
  }
  FaultLadder& ladder(Service service) {
    if (service == Service::Files) return *services.fileSystem;
    return *services.fileAttributes;
  }
  /// Runs with call `number` failing; false when fewer calls were made.
  template <class Run>
  bool runWithFault(Service service, std::uint64_t number, Duration duration, Run run) {
    FaultLadder& faults = ladder(service);
    const std::uint64_t before = faults.calls();
    duration == Duration::Once ? faults.failCall(number) : faults.failFromCall(number);
    EXPECT_NO_THROW(run());
    const bool reached = faults.calls() - before >= number;
    faults.stopFailing();
    return reached;
  }
  std::string text(const std::string& name) {
    return files.readNSStringWithFullpath(pathOf(name)).value_or("(none)");
  }
  bool logged(const std::string& error) const {
    const std::vector<std::string> lines = linesSoFar();
    return std::find(lines.begin(), lines.end(), "ERROR " + error) != lines.end();
  }
};

template <class Check>
void forEveryFault(Check check) {
  for (const Service service : {Service::Files, Service::Attributes}) {
    for (const Duration duration : {Duration::Once, Duration::ForEver}) {
      std::uint64_t number = 1;
      while (check(service, duration, number)) {
        ASSERT_FALSE(::testing::Test::HasFailure())
            << "call " << number << (duration == Duration::Once ? " once" : " for ever");
        ++number;
      }
    }
  }
}

TEST(ReliableQueueFaults, FailedSaveIsLoggedAndTouchesNoOtherPayload) {
  forEveryFault([](Service service, Duration duration, std::uint64_t number) {
    FaultFixture f;
    const bool reached =
        f.runWithFault(service, number, duration, [&] { f.save("new payload", "q"); });
    const bool failed = f.logged("Cant save file");
    EXPECT_TRUE(f.text(kNew) == "new payload" || (failed && f.text(kNew) == "(none)"));
    for (const char* name : kOld)
      EXPECT_EQ(f.text(name), name);
    EXPECT_THAT(f.names(), IsSubsetOf({kOld[0], kOld[1], kNew}));
    if (!failed) {
      f.fileSystem.losePower();
      EXPECT_EQ(f.text(kNew), "new payload");
    }
    return reached;
  });
}

TEST(ReliableQueueFaults, AtTheLimitAtMostTheOldestIsLost) {
  forEveryFault([](Service service, Duration duration, std::uint64_t number) {
    FaultFixture f;
    for (int i = 0; i < 199; ++i)
      (void)f.fileSystem.replaceFile(f.pathOf(std::to_string(1650000000000 + i) + "___q.dat"), {});
    const std::vector<std::string> before = f.names();
    const bool reached = f.runWithFault(service, number, duration, [&] { f.save("new", "q"); });
    const std::vector<std::string> after = f.names();
    for (std::size_t i = 1; i < before.size(); ++i)
      EXPECT_THAT(after, ::testing::Contains(before[i]));
    return reached;
  });
}

TEST(ReliableQueueFaults, RunLosesOnlyWhatItDeliveredOrCalledBroken) {
  forEveryFault([](Service service, Duration duration, std::uint64_t number) {
    FaultFixture f;
    f.rejecting = number % 2 == 0;
    const bool reached =
        f.runWithFault(service, number, duration, [&] { f.queue.processQueueWithID("q"); });
    for (const Offer& offer : f.offers)
      EXPECT_THAT(kOld, ::testing::Contains(offer.payload));
    for (const char* name : kOld) {
      const bool delivered =
          !f.rejecting &&
          std::any_of(f.offers.begin(), f.offers.end(), [&](auto& o) { return o.payload == name; });
      const bool broken = f.logged("Error processing file " + f.pathOf(name));
      EXPECT_TRUE(delivered || broken || f.text(name) == name) << name;
    }
    EXPECT_THAT(f.names(), IsSubsetOf({kOld[0], kOld[1]}));
    return reached;
  });
}

TEST(ReliableQueueFaults, ResetLeavesOtherQueuesAlone) {
  forEveryFault([](Service service, Duration duration, std::uint64_t number) {
    FaultFixture f;
    f.put("1600000000002___other.dat", "other");
    const bool reached =
        f.runWithFault(service, number, duration, [&] { f.queue.resetQueueWithID("q"); });
    EXPECT_EQ(f.text("1600000000002___other.dat"), "other");
    for (const char* name : kOld)
      EXPECT_THAT((std::vector<std::string>{name, "(none)"}), ::testing::Contains(f.text(name)));
    return reached;
  });
}

// The worst that a loss of power does: whatever no call made durable is as it was.
TEST(ReliableQueuePowerLoss, AtEveryCallOfASaveNoPayloadIsTornOrForgotten) {
  for (std::uint64_t number = 1;; ++number) {
    FaultFixture f;
    const bool reached = f.runWithFault(Service::Files, number, Duration::ForEver,
                                        [&] { f.save("new payload", "q"); });
    const bool acknowledged = !f.logged("Cant save file");
    f.fileSystem.losePower();
    for (const char* name : kOld)
      EXPECT_EQ(f.text(name), name) << number;
    EXPECT_TRUE(f.text(kNew) == "new payload" || (!acknowledged && f.text(kNew) == "(none)"));
    f.offers.clear();
    f.queue.processQueueWithID("q");
    EXPECT_EQ(f.offers.size(), acknowledged ? 3U : f.offers.size());
    if (!reached) break;
  }
}

TEST(ReliableQueuePowerLoss, DeliveredPayloadComesAgainAtMostOnce) {
  FaultFixture f;
  f.queue.processQueueWithID("q");
  EXPECT_EQ(f.offers.size(), 2U);
  f.fileSystem.losePower();
  f.queue.processQueueWithID("q");
  EXPECT_EQ(f.offers.size(), 4U);
  f.save("next", "q");  // makes the folder durable, deletions too
  f.fileSystem.losePower();
  f.offers.clear();
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.offers, ::testing::ElementsAre(Offer{"next", "q", 0}));
}

}  // namespace
}  // namespace kelm::test
