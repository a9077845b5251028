#include "kelm/platform/system_log.h"

namespace kelm::platform {

Slot<SystemLog>& SystemLog::slot() {
  static constinit Slot<SystemLog> held;
  return held;
}

}  // namespace kelm::platform
