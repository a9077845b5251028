#include "kelm/platform/streams/stream.h"

namespace kelm::platform {

Slot<Streams>& Streams::slot() {
  static constinit Slot<Streams> held;
  return held;
}

}  // namespace kelm::platform
