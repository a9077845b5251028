#include "kelm/platform/bundle.h"

namespace kelm::platform {

Slot<Bundle>& Bundle::slot() {
  static constinit Slot<Bundle> held;
  return held;
}

}  // namespace kelm::platform
