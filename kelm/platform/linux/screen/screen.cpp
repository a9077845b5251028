#include "kelm/platform/graphics/screen.h"

namespace kelm::platform {

std::shared_ptr<Screen> Screen::makeSystem() { return std::make_shared<FixedScreen>(ScreenInfo()); }

}  // namespace kelm::platform
