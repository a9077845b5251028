#include "kelm/base/error.h"

#include <gtest/gtest.h>

#include <thread>

#include "kelm/base/result.h"

namespace kelm {
namespace {

TEST(Error, RaisedFailuresCarryNameAndReason) {
  try {
    raiseOutOfRange(5, 3);
    FAIL();
  } catch (const std::runtime_error& error) {
    const auto& exception = dynamic_cast<const Exception&>(error);
    EXPECT_EQ(exception.name(), exception_name::kRange);
    EXPECT_EQ(exception.reason(), "index 5 is out of range, the count is 3");
    EXPECT_STREQ(error.what(), "NSRangeException: index 5 is out of range, the count is 3");
  }
}

TEST(Error, UnknownNumbersHaveASentenceToo) {
  EXPECT_FALSE(posixError(123456).localizedDescription().empty());
  EXPECT_TRUE(Error::make("d", 1).userInfo.empty());
  EXPECT_NE(Error::make("d", 1), Error::make("d", 2));
  EXPECT_NE(Error::make("d", 1), Error::make("d", 1, "sentence"));
}

TEST(Error, SentencesCanBeMadeOnSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([i] {
      const std::string own = posixError(100000 + i).localizedDescription();
      for (int round = 0; round < 1000; ++round)
        EXPECT_EQ(posixError(100000 + i).localizedDescription(), own);
    });
  for (std::thread& thread : threads)
    thread.join();
}

TEST(Result, HoldsEitherTheValueOrTheError) {
  Result<std::string> good = std::string("value");
  ASSERT_TRUE(good);
  EXPECT_EQ(*good, "value");
  EXPECT_EQ(good->size(), 5U);
  const Result<std::string> bad = posixError(5);
  ASSERT_FALSE(bad);
  EXPECT_EQ(bad.error().code, 5);
}

}  // namespace
}  // namespace kelm
