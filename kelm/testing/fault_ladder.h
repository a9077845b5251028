#pragma once

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <limits>

#include "kelm/base/export.h"

namespace kelm::testing {

/// Makes calls of a service in memory fail. Calls are numbered from the moment of asking: 1 is the
/// next one. An operation without an error result shows a failure as "not there".
class KELM_API FaultLadder {
 public:
  void failCall(std::uint64_t number, int error = EIO) { fail(number, number, error); }
  void failFromCall(std::uint64_t number, int error = EIO) {
    fail(number, std::numeric_limits<std::uint64_t>::max() - calls_, error);
  }
  void stopFailing() { first_ = last_ = 0; }
  /// How many calls came so far, failed ones too.
  std::uint64_t calls() const { return calls_; }

 protected:
  /// Counts a call; the errno that it is to fail with, else 0.
  int nextCall() const {
    const std::uint64_t number = ++calls_;
    return first_ <= number && number <= last_ ? error_.load() : 0;
  }

 private:
  void fail(std::uint64_t first, std::uint64_t last, int error) {
    error_ = error;
    first_ = calls_ + first;
    last_ = calls_ + last;
  }

  mutable std::atomic<std::uint64_t> calls_{0};
  std::atomic<std::uint64_t> first_{0};
  std::atomic<std::uint64_t> last_{0};
  std::atomic<int> error_{EIO};
};

}  // namespace kelm::testing
