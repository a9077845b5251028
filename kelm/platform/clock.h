#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "kelm/base/date.h"
#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Tells the time. Thread-safe.
class KELM_API Clock {
 public:
  virtual ~Clock() = default;
  /// Holds the one in use; `current<Clock>()` returns it.
  static Slot<Clock>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Clock> makeSystem();
  /// The wall clock; may jump in both directions.
  virtual Date now() const = 0;
  /// Time since an arbitrary start; never goes back.
  virtual std::int64_t monotonicNanoseconds() const = 0;
  /// Holds the calling thread up for that long.
  virtual void sleep(std::chrono::nanoseconds duration) = 0;
};

}  // namespace kelm::platform
