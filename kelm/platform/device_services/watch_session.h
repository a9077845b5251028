#pragma once

#include <cstdint>
#include <memory>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Receives the events of a watch session.
class KELM_API WatchSessionDelegate {
 public:
  virtual ~WatchSessionDelegate() = default;
};

/// The session with a companion watch. Thread-safe.
class KELM_API WatchSession {
 public:
  static constexpr std::int64_t kActivated = 2;

  virtual ~WatchSession() = default;
  /// Holds the one in use; `current<WatchSession>()` returns it.
  static Slot<WatchSession>& slot();
  /// Makes the system's own. On Linux it asks BlueZ on the system bus for a paired device of the
  /// wrist-watch class or a watch's appearance (Bluetooth assigned numbers).
  static std::shared_ptr<WatchSession> makeSystem();
  /// False where the system has no such facility; the other operations then do nothing.
  virtual bool isSupported() const = 0;
  virtual void setDelegate(std::shared_ptr<WatchSessionDelegate> delegate) = 0;
  /// Begins to activate the session, without waiting.
  virtual void activate() = 0;
  /// 0 not activated, 1 inactive, 2 activated.
  virtual std::int64_t activationState() const = 0;
  virtual bool isPaired() const = 0;
};

}  // namespace kelm::platform
