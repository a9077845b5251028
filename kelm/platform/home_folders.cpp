#include "kelm/platform/home_folders.h"

namespace kelm::platform {

Slot<HomeFolders>& HomeFolders::slot() {
  static constinit Slot<HomeFolders> held;
  return held;
}

}  // namespace kelm::platform
