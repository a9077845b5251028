#pragma once

#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/local_notification_center.h"

namespace kelm::test {

/// The centre itself, which also keeps what was posted. Thread-safe.
class MemoryNotificationCenter : public platform::LocalNotificationCenter {
 public:
  void post(const platform::Notification& notification) override {
    {
      const Lock lock(mutex_);
      posted_.push_back(notification);
    }
    LocalNotificationCenter::post(notification);
  }

  std::vector<platform::Notification> posted() const {
    const Lock lock(mutex_);
    return posted_;
  }

 private:
  mutable Mutex mutex_;
  std::vector<platform::Notification> posted_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::test
