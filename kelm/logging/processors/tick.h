#pragma once

#include <cstdint>

#include "kelm/platform/clock.h"
#include "kelm/platform/dispatch.h"

namespace kelm::logging {

/// The firings of a repeating timer, of which only those that are needed are asked for.
class Tick {
 public:
  explicit Tick(platform::Duration interval) : interval_(interval) { start(); }
  /// Counts from now on, like a new timer.
  void start() { start_ = now(); }
  /// The time until the next firing; never none.
  platform::Duration untilNext() const {
    return interval_ - platform::Duration((now() - start_) % interval_.count());
  }

 private:
  static std::int64_t now() { return platform::current<platform::Clock>()->monotonicNanoseconds(); }

  platform::Duration interval_;
  std::int64_t start_ = 0;
};

/// True for a moment that is 15 ms old, or older.
inline bool isStale(Date date) {
  return date.secondsSince1970 - platform::current<platform::Clock>()->now().secondsSince1970 <=
         -0.015;
}

}  // namespace kelm::logging
