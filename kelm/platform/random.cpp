#include "kelm/platform/random.h"

namespace kelm::platform {

Slot<Random>& Random::slot() {
  static constinit Slot<Random> held;
  return held;
}

}  // namespace kelm::platform
