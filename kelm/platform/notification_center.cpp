#include "kelm/platform/notification_center.h"

namespace kelm::platform {

Slot<NotificationCenter>& NotificationCenter::slot() {
  static constinit Slot<NotificationCenter> held;
  return held;
}

}  // namespace kelm::platform
