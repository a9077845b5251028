#include "kelm/platform/local_authentication.h"

namespace kelm::platform {

Slot<LocalAuthentication>& LocalAuthentication::slot() {
  static constinit Slot<LocalAuthentication> held;
  return held;
}

}  // namespace kelm::platform
