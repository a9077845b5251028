#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/application.h"

namespace kelm {

/// What only the host application can supply; one instance a process. The host sets the
/// application handler before it starts the first HTTP task. All operations are thread-safe: the
/// callbacks are copied when they are set and when they are read.
class KELM_API KelmCoreAppExposedHooks {
 public:
  using SharedApplicationHandler = std::function<std::shared_ptr<platform::Application>()>;
  using OpenUrlHandler = std::function<void(std::string_view url)>;

  /// `getInstance` The shared instance, made on the first call and never destroyed.
  static KelmCoreAppExposedHooks& getInstance();

  KelmCoreAppExposedHooks(const KelmCoreAppExposedHooks&) = delete;
  KelmCoreAppExposedHooks& operator=(const KelmCoreAppExposedHooks&) = delete;

  /// `sharedApplicationHandler` The way to the host's application object; empty until set.
  SharedApplicationHandler sharedApplicationHandler() const;
  /// `setSharedApplicationHandler:` Called from any thread that runs a task.
  void setSharedApplicationHandler(SharedApplicationHandler handler);

  /// `serverBaseContextPath` The part of the path that follows the server's address, such as
  /// "app"; absent until set.
  std::optional<std::string> serverBaseContextPath() const;
  /// `setServerBaseContextPath:`
  void setServerBaseContextPath(std::optional<std::string> path);

  /// `sharedApplicationOpenUrlHandler` Kept for the host; the library never calls it.
  OpenUrlHandler sharedApplicationOpenUrlHandler() const;
  /// `setSharedApplicationOpenUrlHandler:`
  void setSharedApplicationOpenUrlHandler(OpenUrlHandler handler);

  /// What the application handler returns now; empty while none is set.
  std::shared_ptr<platform::Application> sharedApplication() const;

 private:
  KelmCoreAppExposedHooks() = default;
  ~KelmCoreAppExposedHooks() = default;

  mutable Mutex mutex_;
  SharedApplicationHandler applicationHandler_ KELM_GUARDED_BY(mutex_);
  std::optional<std::string> contextPath_ KELM_GUARDED_BY(mutex_);
  OpenUrlHandler openUrlHandler_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
