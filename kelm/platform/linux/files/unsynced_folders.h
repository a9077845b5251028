#pragma once

#include <set>
#include <string>

#include "kelm/base/mutex.h"
#include "kelm/platform/linux/files/file_calls.h"

namespace kelm::platform {

/// Remembers folders that got their name without a sync, so that a file in one is acknowledged
/// only when the way to it is durable too. A folder that comes and goes between costs no sync.
/// Operations return an errno, 0 for success. Thread-safe.
class UnsyncedFolders {
 public:
  explicit UnsyncedFolders(const FileCalls& calls) : calls_(calls) {}

  /// A folder was made, or moved here.
  int add(const std::string& path);
  /// The item was removed, with all that it held.
  void forget(const std::string& path);
  /// Makes the name of the folder, and those of the folders that it lies in, durable.
  int syncWayTo(const std::string& folder);
  /// The same for all that are remembered.
  int syncAll();

 private:
  int syncFolder(const std::string& path) const;

  const FileCalls& calls_;
  Mutex mutex_;
  std::set<std::string> paths_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::platform
