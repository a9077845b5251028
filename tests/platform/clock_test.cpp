#include "kelm/platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>

#include "kelm/platform/linux/services.h"

namespace kelm::test {
namespace {

TEST(LinuxClock, WallClockIsTheSystemsAndTheOtherNeverGoesBack) {
  const auto clock = platform::makeSystemClock();
  const auto wall = [] {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
  };
  const double before = wall();
  const double now = clock->now().secondsSince1970;
  const double after = wall();
  EXPECT_GE(now, before - 1e-5);  // a double holds today's date to a quarter of a microsecond
  EXPECT_LE(now, after + 1e-5);
  std::int64_t last = clock->monotonicNanoseconds();
  for (int i = 0; i < 10'000; ++i) {
    const std::int64_t next = clock->monotonicNanoseconds();
    ASSERT_GE(next, last);
    last = next;
  }
}

}  // namespace
}  // namespace kelm::test
