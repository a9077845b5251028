#include "kelm/platform/graphics/canvas.h"

namespace kelm::platform {

Slot<Canvas>& Canvas::slot() {
  static constinit Slot<Canvas> held;
  return held;
}

}  // namespace kelm::platform
