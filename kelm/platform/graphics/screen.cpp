#include "kelm/platform/graphics/screen.h"

namespace kelm::platform {

Slot<Screen>& Screen::slot() {
  static constinit Slot<Screen> held;
  return held;
}

}  // namespace kelm::platform
