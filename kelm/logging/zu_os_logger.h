#pragma once

#include <cstdint>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// The system log under the application's own identifier. Thread-safe.
class KELM_API ZuOSLogger {
 public:
  ZuOSLogger() = delete;

  /// `processLogData:level:` Writes the bytes as one entry of the default type, whatever the
  /// level, under the bundle's identifier and the category "com.trevalo.logs". Bytes that are not
  /// UTF-8 (RFC 3629) write nothing. Stops the process when the bundle has no identifier.
  static void processLogData_level(DataView data, std::int64_t level);
};

}  // namespace kelm
