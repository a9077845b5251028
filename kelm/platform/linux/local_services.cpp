#include "kelm/platform/linux/services.h"
#include "kelm/platform/local_application.h"
#include "kelm/platform/local_notification_center.h"

namespace kelm::platform {

std::shared_ptr<NotificationCenter> makeNotificationCenter() {
  return std::make_shared<LocalNotificationCenter>();
}

std::shared_ptr<Application> makeApplication(std::shared_ptr<Dispatcher> dispatcher) {
  return std::make_shared<LocalApplication>(std::move(dispatcher));
}

}  // namespace kelm::platform
