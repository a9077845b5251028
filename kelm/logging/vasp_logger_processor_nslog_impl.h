#pragma once

#include "kelm/logging/kelm_log_model.h"

namespace kelm {

/// Writes log lines to the system log. Thread-safe.
class KELM_API VaspLoggerProcessor_NSLogImpl : public VaspLoggerProcessorDelegate {
 public:
  /// `processLog:` A record without bytes does nothing. What is thrown meanwhile goes to the
  /// console, as "LOG ERROR %@" and the call stack, and the record is dropped.
  void processLog(const KelmLogModel& log) override;
};

}  // namespace kelm
