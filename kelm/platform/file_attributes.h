#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/result.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Attributes that a file carries beside its content. A file system that cannot hold them counts
/// as success; a missing item is an error. Follows links. Thread-safe.
class KELM_API FileAttributes {
 public:
  virtual ~FileAttributes() = default;
  /// Holds the one in use; `current<FileAttributes>()` returns it.
  static Slot<FileAttributes>& slot();
  /// Makes the system's own.
  static std::shared_ptr<FileAttributes> makeSystem();
  virtual Failure setProtection(const std::string& path, std::string_view protectionClass) = 0;
  /// Absent when none was set or the file system holds none.
  virtual std::optional<std::string> protection(const std::string& path) const = 0;
  virtual Failure setExcludedFromBackup(const std::string& path, bool excluded) = 0;
  virtual bool isExcludedFromBackup(const std::string& path) const = 0;
};

}  // namespace kelm::platform
