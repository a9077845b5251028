#pragma once

#include "kelm/base/mutex.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/dispatch.h"

namespace kelm::test {

/// Stands still until a test moves it. Starts at 2023-11-14T22:13:20Z. Thread-safe.
class ManualClock : public platform::Clock {
 public:
  Date now() const override;
  std::int64_t monotonicNanoseconds() const override;

  /// Sets the wall clock alone, forwards or back.
  void setNow(Date now);
  /// Moves both.
  void advance(platform::Duration duration);

 private:
  mutable Mutex mutex_;
  Date now_ KELM_GUARDED_BY(mutex_){1'700'000'000};
  std::int64_t monotonic_ KELM_GUARDED_BY(mutex_) = 1;
};

}  // namespace kelm::test
