#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/dispatch.h"

namespace kelm::testing {

/// Stands still until a test moves it. Starts at 2023-11-14T22:13:20Z. Thread-safe.
class KELM_API ManualClock : public platform::Clock {
 public:
  Date now() const override {
    const Lock lock(mutex_);
    return now_;
  }
  std::int64_t monotonicNanoseconds() const override {
    const Lock lock(mutex_);
    return monotonic_;
  }

  /// Moves the clock instead, and then does what onSleep() said.
  void sleep(std::chrono::nanoseconds duration) override {
    advance(duration);
    std::function<void()> woken;
    {
      const Lock lock(mutex_);
      woken = onSleep_;
    }
    if (woken) woken();
  }

  /// Sets what runs while a thread sleeps; an empty function: nothing more.
  void onSleep(std::function<void()> woken) {
    const Lock lock(mutex_);
    onSleep_.swap(woken);
  }
  /// Sets the wall clock alone, forwards or back.
  void setNow(Date now) {
    const Lock lock(mutex_);
    now_ = now;
  }
  /// Moves both.
  void advance(platform::Duration duration) {
    const Lock lock(mutex_);
    now_.secondsSince1970 += std::chrono::duration<double>(duration).count();
    monotonic_ += duration.count();
  }

 private:
  mutable Mutex mutex_;
  Date now_ KELM_GUARDED_BY(mutex_){1'700'000'000};
  std::int64_t monotonic_ KELM_GUARDED_BY(mutex_) = 1;
  std::function<void()> onSleep_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
