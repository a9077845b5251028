#include "kelm/platform/file_system.h"

namespace kelm::platform {

Slot<FileSystem>& FileSystem::slot() {
  static constinit Slot<FileSystem> held;
  return held;
}

}  // namespace kelm::platform
