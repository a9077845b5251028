#include "kelm/platform/graphics/image_codec.h"

namespace kelm::platform {

Slot<ImageCodec>& ImageCodec::slot() {
  static constinit Slot<ImageCodec> held;
  return held;
}

}  // namespace kelm::platform
