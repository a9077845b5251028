#include "kelm/logging/vasp_logger_processor_nslog_impl.h"

#include "kelm/logging/call_stack.h"
#include "kelm/logging/zu_os_logger.h"

namespace kelm {

void VaspLoggerProcessor_NSLogImpl::processLog(const KelmLogModel& log) {
  try {
    if (!log.messageData || log.messageData->empty()) return;
    ZuOSLogger::processLogData_level(*log.messageData, static_cast<std::int64_t>(log.level));
  } catch (...) {
    logging::reportExceptionWithStack();
  }
}

}  // namespace kelm
