#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm::logging {

/// The installed delegate. Thread-safe.
class DelegateSlot {
 public:
  void set(std::shared_ptr<VaspLogDelegate> delegate) KELM_EXCLUDES(mutex_);
  /// Puts a default delegate in an empty slot.
  void fill() KELM_EXCLUDES(mutex_);
  std::shared_ptr<VaspLogDelegate> get() const KELM_EXCLUDES(mutex_);
  /// Goes up with each exchange.
  std::uint64_t version() const { return version_.load(std::memory_order_acquire); }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<VaspLogDelegate> delegate_ KELM_GUARDED_BY(mutex_);
  std::atomic<std::uint64_t> version_{1};
  std::atomic<bool> filled_{false};
};

/// Keeps the delegate between records that follow each other closely, so that the slot is not
/// locked for each. For one thread.
class DelegateHold {
 public:
  explicit DelegateHold(const DelegateSlot& slot) : slot_(slot) {}
  /// The delegate of this moment; null when none is installed.
  VaspLogDelegate* current();
  void release();

 private:
  const DelegateSlot& slot_;
  std::shared_ptr<VaspLogDelegate> delegate_;
  std::uint64_t version_ = 0;
};

}  // namespace kelm::logging
