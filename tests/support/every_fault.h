#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "kelm/testing/test_platform.h"

namespace kelm::testing {

/// A call of the file system, or of its attributes, that fails: once, or with all after it.
struct Fault {
  bool ofAttributes = false;
  bool forEver = false;
  std::uint64_t number = 1;

  /// Runs something with the fault; false when it made fewer calls.
  template <class Run>
  bool during(const TestPlatform& services, Run run) const {
    FaultLadder& ladder = ofAttributes ? static_cast<FaultLadder&>(*services.fileAttributes)
                                       : static_cast<FaultLadder&>(*services.fileSystem);
    const std::uint64_t before = ladder.calls();
    forEver ? ladder.failFromCall(number) : ladder.failCall(number);
    EXPECT_NO_THROW(run());
    ladder.stopFailing();
    return ladder.calls() - before >= number;
  }
};

/// Calls `check` with every fault in turn until it returns false: the fault came too late.
template <class Check>
void forEveryFault(Check check) {
  for (const bool ofAttributes : {false, true})
    for (const bool forEver : {false, true}) {
      Fault fault{ofAttributes, forEver};
      for (; check(fault); ++fault.number)
        ASSERT_FALSE(::testing::Test::HasFailure())
            << "call " << fault.number << (forEver ? " and later" : "")
            << (ofAttributes ? " of the attributes" : "");
      EXPECT_TRUE(ofAttributes || fault.number > 1) << "no call was made to fail";
    }
}

}  // namespace kelm::testing
