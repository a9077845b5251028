#include "kelm/platform/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "kelm/platform/linux/core/services.h"

namespace kelm::testing {
namespace {

template <int error>
std::ptrdiff_t refuse(void*, std::size_t, unsigned) {
  errno = error;
  return -1;
}
/// A few bytes at a time, interrupted in between.
std::ptrdiff_t trickle(void* buffer, std::size_t size, unsigned) {
  static int calls = 0;
  if (++calls % 2 == 0) return refuse<EINTR>(buffer, size, 0);
  const std::size_t count = std::min<std::size_t>(size, 3);
  std::memset(buffer, calls, count);
  return static_cast<std::ptrdiff_t>(count);
}

using Draw = std::array<std::uint8_t, 32>;

TEST(LinuxRandom, RefusalIsToldAndInterruptionsAndShortAnswersAreNot) {
  Draw buffer{};
  for (const auto source : {&refuse<ENOSYS>, &refuse<EAGAIN>, &refuse<EFAULT>})
    EXPECT_FALSE(platform::makeRandom(source)->fill(buffer));
  EXPECT_TRUE(platform::makeRandom(&trickle)->fill(buffer));
  EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0), 0) << "every byte is from the source";
}

TEST(LinuxRandom, GeneratorsOfLastResortDifferFromEachOtherAndUnderThreads) {
  const auto shared = platform::makeRandom(&refuse<ENOSYS>);
  std::vector<std::vector<Draw>> draws(4, std::vector<Draw>(200));
  std::vector<std::jthread> threads;
  for (auto& mine : draws)
    threads.emplace_back([&] {
      for (Draw& draw : mine)
        shared->fillFromFallback(draw);
      platform::makeRandom(&refuse<ENOSYS>)->fillFromFallback(mine.back());
    });
  threads.clear();
  std::set<Draw> all;
  std::size_t ones = 0;
  for (const auto& mine : draws)
    for (const Draw& draw : mine) {
      all.insert(draw);
      for (const std::uint8_t byte : draw)
        ones += std::bitset<8>(byte).count();
    }
  EXPECT_EQ(all.size(), 800U);
  EXPECT_NEAR(static_cast<double>(ones), 102'400.0, 6 * 226.0);  // six standard deviations
}

}  // namespace
}  // namespace kelm::testing
