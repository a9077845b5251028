#include "kelm/platform/device_services/telephony.h"

namespace kelm::platform {

Slot<Telephony>& Telephony::slot() {
  static constinit Slot<Telephony> held;
  return held;
}

}  // namespace kelm::platform
