#include "kelm/platform/device_services/integrity.h"

namespace kelm::platform {

Slot<Integrity>& Integrity::slot() {
  static constinit Slot<Integrity> held;
  return held;
}

}  // namespace kelm::platform
