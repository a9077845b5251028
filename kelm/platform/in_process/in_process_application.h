#pragma once

#include <functional>
#include <map>
#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/platform/application.h"

namespace kelm::platform {

/// An application that nobody suspends: background tasks are counted, and expire only when the
/// host says so, say at its own shutdown. A host shows the indicator and lives on as it sees fit.
class KELM_API InProcessApplication : public Application {
 public:
  BackgroundTask beginBackgroundTask(std::string_view name, std::function<void()> expired) override;
  void endBackgroundTask(BackgroundTask task) override;
  void setNetworkActivityIndicatorVisible(bool visible) override;

  bool isNetworkActivityIndicatorVisible() const;
  std::size_t runningBackgroundTasks() const;
  /// Posts `expired` of every running task to the main loop, oldest first; one that ends before
  /// its turn is not called. The tasks run on until they are ended.
  void expireBackgroundTasks();

 private:
  struct Tasks {
    Mutex mutex;
    std::map<BackgroundTask, std::function<void()>> running KELM_GUARDED_BY(mutex);
    BackgroundTask last KELM_GUARDED_BY(mutex) = kInvalidBackgroundTask;
    bool indicator KELM_GUARDED_BY(mutex) = false;
  };

  std::shared_ptr<Tasks> tasks_ = std::make_shared<Tasks>();
};

}  // namespace kelm::platform
