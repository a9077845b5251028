// The system's reachability in a network namespace of its own, whose links come and go.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "kelm/network/kelm_reachability.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/notification_center.h"

namespace kelm::testing {
namespace {

constexpr auto kLimit = std::chrono::seconds(10);

void run(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

platform::ReachabilityFlags flagsOf(const char* host) {
  return platform::current<platform::Reachability>()->forHost(host)->flags().value_or(1);
}

TEST(ReachabilityOfLinks, EachStepIsToldOnTheMainLoop) {
  const auto internet = KelmReachability::reachabilityForInternetConnection();
  auto& loop = platform::current<platform::Dispatcher>()->mainLoop();
  int told = 0;
  const auto registration = platform::current<platform::NotificationCenter>()->observe(
      kelmReachabilityChangedNotification, [&](const auto& notification) {
        EXPECT_EQ(notification.sender.get(), internet.get());
        ++told;
      });
  ASSERT_TRUE(internet->startNotifier());
  EXPECT_EQ(flagsOf("127.0.0.1"), 0U) << "no loopback";
  const struct {
    const char* name;
    const char* command;
    platform::ReachabilityFlags internet;
    bool isTold;
  } steps[] = {
      {"links without a default route",
       "ip link set lo up; ip link add w0 type veth peer name p0; ip link set p0 up;"
       "ip link add wwan0 type veth peer name p1; ip link set p1 up;"
       "ip addr add 10.9.0.2/24 dev w0; ip link set w0 up;"
       "ip addr add 10.8.0.2/24 dev wwan0; ip link set wwan0 up",
       0, false},
      {"default route", "ip route add default via 10.9.0.1 dev w0", 0x2, true},
      {"link down", "ip link set w0 down", 0, true},
      {"cellular", "ip route add default via 10.8.0.1 dev wwan0", 0x40002, true},
      {"both", "ip link set w0 up; ip route add default via 10.9.0.1 dev w0 metric 50", 0x2, true},
      {"carrier lost", "ip link set p0 down", 0x40002, true},
      {"both peers down", "ip link set p1 down", 0, true},
      {"carrier again", "ip link set p0 up", 0x2, true},
      {"address removed", "ip addr flush dev w0", 0, true},
      {"IPv6 only",
       "ip addr add fd00::2/64 dev w0 nodad; ip -6 route add default via fd00::1 dev w0", 0x2,
       true},
  };
  const auto target = platform::current<platform::Reachability>()->forAddress({});
  for (const auto& step : steps) {
    const int before = told;
    run(step.command);
    const bool came = loop.runUntil(
        [&] { return target->flags() == step.internet && (told > before) == step.isTold; }, kLimit);
    EXPECT_TRUE(came) << step.name << ": flags " << target->flags().value_or(1) << ", told "
                      << told - before;
  }
  EXPECT_EQ(flagsOf("127.0.0.1") & 0x30002, 0x30002U) << "this machine, directly";
  EXPECT_EQ(flagsOf("fd00::7"), 0x20002U) << "a neighbour";
  EXPECT_EQ(flagsOf("10.20.30.40"), 0U);

  const int before = told;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 40; ++i)
    run("ip link set w0 down; ip link set w0 up");
  run("ip link set w0 down");
  EXPECT_TRUE(loop.runUntil([&] { return told > before && target->flags() == 0U; }, kLimit));
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_LE(told - before, 1 + 20 * seconds.count()) << "bursts come as one";
  internet->stopNotifier();
}

TEST(ReachabilityOfLinks, ForkedProcessReadsAndWatchesOnItsOwn) {
  const auto target = platform::current<platform::Reachability>()->forAddress({});
  const auto internet = KelmReachability::reachabilityForInternetConnection();
  ASSERT_TRUE(internet->startNotifier());
  const pid_t child = ::fork();
  if (child == 0) {
    const bool reads = target->flags().has_value();
    const bool watches = internet->startNotifier();
    internet->stopNotifier();
    ::_exit(reads && watches ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(ReachabilityOfHosts, LookUpNeitherWaitsNorIsForgotten) {
  const auto host = platform::current<platform::Reachability>()->forHost("localhost");
  auto& loop = platform::current<platform::Dispatcher>()->mainLoop();
  EXPECT_TRUE(loop.runUntil([&] { return host->flags().has_value(); }, kLimit));
}

}  // namespace
}  // namespace kelm::testing
