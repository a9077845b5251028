#pragma once

#include <atomic>
#include <limits>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/device_services/watch_session.h"

namespace kelm::testing {

/// A session that becomes active when its state has been read that often since activate(). The
/// test sets it before other threads look. No watch at first.
class KELM_API MemoryWatchSession : public platform::WatchSession {
 public:
  static constexpr int kNever = std::numeric_limits<int>::max();

  bool isSupported() const override { return supported; }
  void setDelegate(std::shared_ptr<platform::WatchSessionDelegate> delegate) override {
    const Lock lock(mutex_);
    delegate_.swap(delegate);
  }
  void activate() override { reads_ = 0; }
  std::int64_t activationState() const override {
    return reads_ >= 0 && ++reads_ >= readsUntilActivated ? kActivated : 0;
  }
  bool isPaired() const override { return paired; }

  /// The delegate in use; empty until one was set.
  std::shared_ptr<platform::WatchSessionDelegate> delegate() const {
    const Lock lock(mutex_);
    return delegate_;
  }

  bool supported = false;
  bool paired = false;
  int readsUntilActivated = 1;

 private:
  mutable std::atomic<int> reads_{-1};  ///< below zero: not activated
  mutable Mutex mutex_;
  std::shared_ptr<platform::WatchSessionDelegate> delegate_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
