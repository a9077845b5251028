#include "kelm/platform/application.h"

namespace kelm::platform {

Slot<Application>& Application::slot() {
  static constinit Slot<Application> held;
  return held;
}

}  // namespace kelm::platform
