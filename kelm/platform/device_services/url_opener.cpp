#include "kelm/platform/device_services/url_opener.h"

namespace kelm::platform {

Slot<UrlOpener>& UrlOpener::slot() {
  static constinit Slot<UrlOpener> held;
  return held;
}

}  // namespace kelm::platform
