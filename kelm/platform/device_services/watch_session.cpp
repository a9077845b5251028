#include "kelm/platform/device_services/watch_session.h"

namespace kelm::platform {

Slot<WatchSession>& WatchSession::slot() {
  static constinit Slot<WatchSession> held;
  return held;
}

}  // namespace kelm::platform
