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

#include "kelm/base/data.h"
#include "kelm/platform/linux/services.h"

namespace kelm::test {
namespace {

using platform::RandomSources;

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
int refuse(unsigned char*, int) { return 0; }

using Draw = std::array<std::uint8_t, 32>;

TEST(LinuxRandom, SystemsGeneratorFillsAllSizesWithDifferentBytes) {
  const auto random = platform::makeSystemRandom();
  for (const std::size_t size : {0, 1, 16, 4096}) {
    Data buffer(size);
    EXPECT_TRUE(random->fill(buffer)) << size;
  }
  Data large(1 << 20);
  ASSERT_TRUE(random->fill(large));
  EXPECT_EQ(std::set<std::uint8_t>(large.begin(), large.end()).size(), 256U);
}

TEST(LinuxRandom, RefusalIsToldAndInterruptionsAndShortAnswersAreNot) {
  Draw buffer{};
  for (const auto source : {&refuse<ENOSYS>, &refuse<EAGAIN>, &refuse<EFAULT>})
    EXPECT_FALSE(platform::makeSystemRandom({source, refuse})->fill(buffer));
  EXPECT_TRUE(platform::makeSystemRandom({&trickle, refuse})->fill(buffer));
  EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0), 0) << "every byte is from the source";
}

TEST(LinuxRandom, ThousandFallbackDrawsDifferWhateverRefuses) {
  const RandomSources kAllRefuse{&refuse<ENOSYS>, refuse};
  for (const auto& random :
       {platform::makeSystemRandom(), platform::makeSystemRandom(kAllRefuse)}) {
    std::set<Draw> draws;
    std::size_t ones = 0;
    for (int i = 0; i < 1000; ++i) {
      Draw draw{};
      random->fillFromFallback(draw);
      draws.insert(draw);
      for (const std::uint8_t byte : draw)
        ones += std::bitset<8>(byte).count();
    }
    EXPECT_EQ(draws.size(), 1000U);
    EXPECT_NEAR(static_cast<double>(ones), 128'000.0, 6 * 253.0);  // six standard deviations
  }
}

TEST(LinuxRandom, GeneratorsOfLastResortDifferFromEachOtherAndUnderThreads) {
  const RandomSources kAllRefuse{&refuse<ENOSYS>, refuse};
  const auto shared = platform::makeSystemRandom(kAllRefuse);
  std::vector<std::vector<Draw>> draws(4, std::vector<Draw>(200));
  std::vector<std::thread> threads;
  for (auto& mine : draws)
    threads.emplace_back([&] {
      for (Draw& draw : mine)
        shared->fillFromFallback(draw);
    });
  for (std::thread& thread : threads)
    thread.join();
  std::set<Draw> all;
  for (const auto& mine : draws)
    all.insert(mine.begin(), mine.end());
  for (int i = 0; i < 50; ++i) {
    Draw draw{};
    platform::makeSystemRandom(kAllRefuse)->fillFromFallback(draw);
    all.insert(draw);
  }
  EXPECT_EQ(all.size(), 850U);
}

}  // namespace
}  // namespace kelm::test
