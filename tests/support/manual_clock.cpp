#include "tests/support/manual_clock.h"

#include <chrono>

namespace kelm::test {

Date ManualClock::now() const {
  const Lock lock(mutex_);
  return now_;
}

std::int64_t ManualClock::monotonicNanoseconds() const {
  const Lock lock(mutex_);
  return monotonic_;
}

void ManualClock::setNow(Date now) {
  const Lock lock(mutex_);
  now_ = now;
}

void ManualClock::advance(platform::Duration duration) {
  const Lock lock(mutex_);
  now_.secondsSince1970 += std::chrono::duration<double>(duration).count();
  monotonic_ += duration.count();
}

}  // namespace kelm::test
