#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"

#include <utility>

namespace kelm {

KelmCoreAppExposedHooks& KelmCoreAppExposedHooks::getInstance() {
  static auto* const kInstance = new KelmCoreAppExposedHooks;
  return *kInstance;
}

KelmCoreAppExposedHooks::SharedApplicationHandler
KelmCoreAppExposedHooks::sharedApplicationHandler() const {
  const Lock lock(mutex_);
  return applicationHandler_;
}

void KelmCoreAppExposedHooks::setSharedApplicationHandler(SharedApplicationHandler handler) {
  const Lock lock(mutex_);
  applicationHandler_.swap(handler);
}

std::optional<std::string> KelmCoreAppExposedHooks::serverBaseContextPath() const {
  const Lock lock(mutex_);
  return contextPath_;
}

void KelmCoreAppExposedHooks::setServerBaseContextPath(std::optional<std::string> path) {
  const Lock lock(mutex_);
  contextPath_ = std::move(path);
}

KelmCoreAppExposedHooks::OpenUrlHandler KelmCoreAppExposedHooks::sharedApplicationOpenUrlHandler()
    const {
  const Lock lock(mutex_);
  return openUrlHandler_;
}

void KelmCoreAppExposedHooks::setSharedApplicationOpenUrlHandler(OpenUrlHandler handler) {
  const Lock lock(mutex_);
  openUrlHandler_.swap(handler);
}

std::shared_ptr<platform::Application> KelmCoreAppExposedHooks::sharedApplication() const {
  const SharedApplicationHandler handler = sharedApplicationHandler();
  return handler ? handler() : nullptr;
}

}  // namespace kelm
