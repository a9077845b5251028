// Random folders of good and garbage names, worked on at random, against the model.
#include <gtest/gtest.h>

#include <random>

#include "kelm/testing/log_capture.h"
#include "tests/queue/folder_world.h"

namespace kelm::testing {
namespace {

TEST(ReliableQueueModel, RandomFoldersEndAsTheModelSays) {
  const LogCapture silence;
  for (unsigned seed = 0; seed < 600; ++seed) {
    std::mt19937 random(seed);
    Data bytes(300);
    for (std::uint8_t& byte : bytes)
      byte = static_cast<std::uint8_t>(random() % 3 != 0 ? 255 - random() % 26 : random() % 16);
    EXPECT_NO_THROW(FolderWorld(bytes).run()) << seed;
  }
}

}  // namespace
}  // namespace kelm::testing
