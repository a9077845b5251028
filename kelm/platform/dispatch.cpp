#include "kelm/platform/dispatch.h"

namespace kelm::platform {

Slot<Dispatcher>& Dispatcher::slot() {
  static constinit Slot<Dispatcher> held;
  return held;
}

}  // namespace kelm::platform
