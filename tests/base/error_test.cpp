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

}  // namespace
}  // namespace kelm
