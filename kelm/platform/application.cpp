#include "kelm/platform/application.h"

#include "kelm/platform/local_authentication.h"

namespace kelm::platform {

Slot<Application>& Application::slot() {
  static constinit Slot<Application> held;
  return held;
}

bool Application::isProtectedDataAvailable() const {
  const auto* authentication = LocalAuthentication::slot().inUse();
  return authentication == nullptr || (*authentication)->isProtectedDataAvailable();
}

}  // namespace kelm::platform
