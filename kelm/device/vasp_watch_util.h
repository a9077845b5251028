#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "kelm/base/error.h"
#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/device_services/watch_session.h"

namespace kelm {

/// A delegate of the watch session that does nothing. Thread-safe.
class KELM_API WCSessionStubDelegate : public platform::WatchSessionDelegate {
 public:
  /// `sessionState` Returns the value that was set last; the library does not read it.
  std::int64_t sessionState() const { return sessionState_; }
  /// `setSessionState:`
  void setSessionState(std::int64_t state) { sessionState_ = state; }

  /// `session:activationDidCompleteWithState:error:` Does nothing.
  void session_activationDidCompleteWithState_error(platform::WatchSession& session,
                                                    std::int64_t state,
                                                    const std::optional<Error>& error);
  /// `sessionDidBecomeInactive:` Does nothing.
  void sessionDidBecomeInactive(platform::WatchSession& session);
  /// `sessionDidDeactivate:` Does nothing.
  void sessionDidDeactivate(platform::WatchSession& session);

 private:
  std::atomic<std::int64_t> sessionState_{0};
};

/// Tells, once a process, if a companion watch is paired. Thread-safe; callers that meet wait for
/// the same answer.
class KELM_API VaspWatchUtil {
 public:
  /// `getInstance` The shared instance, made on the first call and never destroyed.
  static VaspWatchUtil& getInstance();

  /// One of its own has its own answer.
  VaspWatchUtil() = default;

  /// `hasWatchPaired` Activates the watch session and waits for it, ten times 0.1 s at most: not
  /// for the main thread. False where watches are not supported and when the tenth wait was
  /// reached. The answer is kept.
  bool hasWatchPaired();

 private:
  Mutex mutex_;
  std::optional<bool> answer_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
