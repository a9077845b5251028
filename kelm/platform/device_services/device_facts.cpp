#include "kelm/platform/device_services/device_facts.h"

namespace kelm::platform {

Slot<DeviceFacts>& DeviceFacts::slot() {
  static constinit Slot<DeviceFacts> held;
  return held;
}

}  // namespace kelm::platform
