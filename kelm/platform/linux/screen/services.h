#pragma once

#include <memory>
#include <string>

#include "kelm/platform/graphics/screen.h"

// The maker for tests; `Screen::makeSystem()` makes the usual one.
namespace kelm::platform {

/// Reads the kernel's connectors below `root`: absolute, no trailing "/"; empty for the system's
/// own.
std::shared_ptr<Screen> makeScreen(std::string root);

}  // namespace kelm::platform
