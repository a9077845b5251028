#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// The host's application object: what only a running application can do. Thread-safe.
class KELM_API Application {
 public:
  using BackgroundTask = std::uint64_t;
  static constexpr BackgroundTask kInvalidBackgroundTask = 0;

  virtual ~Application() = default;
  /// Holds the one in use; `current<Application>()` returns it.
  static Slot<Application>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Application> makeSystem();
  /// Asks for the process to be kept running; `expired` is called, on the main thread, when the
  /// system takes that back. The identifier is never the invalid one unless the wish is refused.
  virtual BackgroundTask beginBackgroundTask(std::string_view name,
                                             std::function<void()> expired) = 0;
  /// Unknown and invalid identifiers are ignored.
  virtual void endBackgroundTask(BackgroundTask task) = 0;
  virtual void setNetworkActivityIndicatorVisible(bool visible) = 0;
  /// The height in points of the bar that the system shows over the application; 0 without one.
  virtual double statusBarHeight() const { return 0; }
  /// False while the device is locked. Here: what the local authentication in use says, true before
  /// its first use.
  virtual bool isProtectedDataAvailable() const;

  /// The names of what a host posts to the notification centre when its window is hidden, and when
  /// it loses the user's attention.
  static constexpr std::string_view kDidEnterBackground =
      "UIApplicationDidEnterBackgroundNotification";
  static constexpr std::string_view kWillResignActive = "UIApplicationWillResignActiveNotification";
};

}  // namespace kelm::platform
