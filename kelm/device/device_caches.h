#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/notification_center.h"

namespace kelm {

/// The caches of `VaspDeviceUtil`, for the whole process. Thread-safe.
class DeviceCaches {
 public:
  std::optional<std::string> model() const;
  void keepModel(const std::string& model);
  std::optional<std::int32_t> level() const;
  void keepLevel(std::int32_t level);
  /// Forgets these two.
  void reset();

  /// "true" or "false"; absent before the first check.
  std::optional<std::string> lastIntactCheck() const;
  void keepIntactCheck(bool isIntact);
  /// The system's version at the first call, split at "."; at least one part.
  const std::vector<std::string>& systemVersion();
  /// Forgets all of it. No other thread may use a version meanwhile.
  void forgetAll();

 private:
  void observeApplication();

  mutable Mutex mutex_;
  std::optional<std::string> model_ KELM_GUARDED_BY(mutex_);
  std::optional<std::int32_t> level_ KELM_GUARDED_BY(mutex_);
  std::optional<bool> isIntact_ KELM_GUARDED_BY(mutex_);
  std::vector<std::string> systemVersion_ KELM_GUARDED_BY(mutex_);

  Mutex observing_;
  std::weak_ptr<platform::NotificationCenter> center_ KELM_GUARDED_BY(observing_);
  std::vector<std::unique_ptr<platform::NotificationCenter::Registration>> registrations_
      KELM_GUARDED_BY(observing_);
};

DeviceCaches& deviceCaches();

}  // namespace kelm
