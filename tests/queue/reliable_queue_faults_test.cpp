// Every call of the services below fails in its turn, once or for ever after, and the power goes.
#include "tests/queue/queue_fixture.h"
#include "tests/support/every_fault.h"

namespace kelm::testing {
namespace {

using ::testing::Contains;
using ::testing::IsSubsetOf;

constexpr const char* kOld[] = {"1600000000000___q.dat", "1600000000001___q.dat"};
constexpr const char* kNew = "1700000000500___q.dat";

/// A queue with two payloads that hold the names of their files.
struct FaultFixture : QueueFixture {
  FaultFixture() {
    for (const char* name : kOld)
      put(name, name);
    accept("q");
    log.clear();
  }
  std::string text(const std::string& name) {
    return files.readNSStringWithFullpath(pathOf(name)).value_or("(none)");
  }
  bool logged(const std::string& error) const {
    const std::vector<std::string> lines = log.lines();
    return std::find(lines.begin(), lines.end(), "ERROR " + error) != lines.end();
  }
};

TEST(ReliableQueueFaults, FailedSaveIsLoggedTornByNothingAndTouchesNoOtherPayload) {
  for (const bool powerGoes : {false, true})
    forEveryFault([&](const Fault& fault) {
      FaultFixture f;
      const bool reached = fault.during(f.services, [&] { f.save("new payload", "q"); });
      const bool failed = f.logged("Cant save file");
      // The worst that a loss of power does: whatever no call made durable is as it was.
      if (powerGoes) f.fileSystem.losePower();
      EXPECT_TRUE(f.text(kNew) == "new payload" || (failed && f.text(kNew) == "(none)"));
      for (const char* name : kOld)
        EXPECT_EQ(f.text(name), name);
      EXPECT_THAT(f.names(), IsSubsetOf({kOld[0], kOld[1], kNew}));
      const std::size_t kept = f.text(kNew) == "(none)" ? 2 : 3;  // a folder may be in its place
      f.queue.processQueueWithID("q");
      EXPECT_EQ(f.offers.size(), kept);
      return reached;
    });
}

TEST(ReliableQueueFaults, AtTheLimitAtMostTheOldestIsLost) {
  forEveryFault([](const Fault& fault) {
    FaultFixture f;
    for (int i = 0; i < 199; ++i)
      (void)f.fileSystem.replaceFile(f.pathOf(std::to_string(1650000000000 + i) + "___q.dat"), {});
    std::vector<std::string> others = f.names();
    others.erase(others.begin());
    const bool reached = fault.during(f.services, [&] { f.save("new", "q"); });
    EXPECT_THAT(others, IsSubsetOf(f.names()));
    return reached;
  });
}

TEST(ReliableQueueFaults, RunLosesOnlyWhatItDeliveredOrCalledBroken) {
  forEveryFault([](const Fault& fault) {
    FaultFixture f;
    f.rejecting = fault.number % 2 == 0;
    const bool reached = fault.during(f.services, [&] { f.queue.processQueueWithID("q"); });
    for (const Offer& offer : f.offers)
      EXPECT_THAT(kOld, Contains(offer.payload));
    for (const std::string name : kOld) {
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
  forEveryFault([](const Fault& fault) {
    FaultFixture f;
    f.put("1600000000002___other.dat", "other");
    const bool reached = fault.during(f.services, [&] { f.queue.resetQueueWithID("q"); });
    EXPECT_EQ(f.text("1600000000002___other.dat"), "other");
    for (const char* name : kOld)
      EXPECT_THAT((std::vector<std::string>{name, "(none)"}), Contains(f.text(name)));
    return reached;
  });
}

TEST(ReliableQueuePowerLoss, DeliveredPayloadComesAgainAtMostOnce) {
  FaultFixture f;
  f.queue.processQueueWithID("q");
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
}  // namespace kelm::testing
