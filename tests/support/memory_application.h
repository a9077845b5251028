#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/local_application.h"

namespace kelm::test {

/// An application that keeps what it was asked for, and refuses background tasks when told to.
/// Thread-safe.
class MemoryApplication : public platform::LocalApplication {
 public:
  using LocalApplication::LocalApplication;

  BackgroundTask beginBackgroundTask(std::string_view name,
                                     std::function<void()> expired) override {
    const Lock lock(mutex_);
    names_.emplace_back(name);
    if (refusing_) return kInvalidBackgroundTask;
    return LocalApplication::beginBackgroundTask(name, std::move(expired));
  }
  void endBackgroundTask(BackgroundTask task) override {
    {
      const Lock lock(mutex_);
      ended_.push_back(task);
    }
    LocalApplication::endBackgroundTask(task);
  }
  void setNetworkActivityIndicatorVisible(bool visible) override {
    {
      const Lock lock(mutex_);
      indicatorChanges_.push_back(visible);
    }
    LocalApplication::setNetworkActivityIndicatorVisible(visible);
  }

  void refuseBackgroundTasks(bool refusing) {
    const Lock lock(mutex_);
    refusing_ = refusing;
  }
  /// The names of the tasks that were asked for, in order.
  std::vector<std::string> taskNames() const {
    const Lock lock(mutex_);
    return names_;
  }
  /// Every identifier that was ended, in order, known or not.
  std::vector<BackgroundTask> endedTasks() const {
    const Lock lock(mutex_);
    return ended_;
  }
  std::vector<bool> indicatorChanges() const {
    const Lock lock(mutex_);
    return indicatorChanges_;
  }

 private:
  mutable Mutex mutex_;
  std::vector<std::string> names_ KELM_GUARDED_BY(mutex_);
  std::vector<BackgroundTask> ended_ KELM_GUARDED_BY(mutex_);
  std::vector<bool> indicatorChanges_ KELM_GUARDED_BY(mutex_);
  bool refusing_ KELM_GUARDED_BY(mutex_) = false;
};

}  // namespace kelm::test
