#include "kelm/platform/clock.h"

namespace kelm::platform {

Slot<Clock>& Clock::slot() {
  static constinit Slot<Clock> held;
  return held;
}

}  // namespace kelm::platform
