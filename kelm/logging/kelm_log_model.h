#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "kelm/base/data.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

/// One record as processors get it.
struct KelmLogModel {
  LogAspect aspect = 0;
  LogLevel level = 0;
  const char* source = nullptr;              ///< constant text, not owned
  std::optional<std::string> messageString;  ///< the default delegate leaves it absent
  std::optional<Data> messageData;           ///< the finished line, UTF-8, no line end
};

/// Does something with finished log lines.
class KELM_API VaspLoggerProcessorDelegate {
 public:
  virtual ~VaspLoggerProcessorDelegate() = default;
  /// `processLog:` The record is only lent.
  virtual void processLog(const KelmLogModel& log) = 0;
  /// Waits, for `limit` at most, until earlier records are written as far as they can be now; false
  /// when the time was too short.
  virtual bool flush(std::chrono::milliseconds limit) {
    static_cast<void>(limit);
    return true;
  }
};

}  // namespace kelm
