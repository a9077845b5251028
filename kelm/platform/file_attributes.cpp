#include "kelm/platform/file_attributes.h"

namespace kelm::platform {

Slot<FileAttributes>& FileAttributes::slot() {
  static constinit Slot<FileAttributes> held;
  return held;
}

}  // namespace kelm::platform
