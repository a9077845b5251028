#pragma once

#include <memory>
#include <string>

#include "kelm/platform/device_services/device_facts.h"
#include "kelm/platform/device_services/integrity.h"

// Makers for tests; `DeviceFacts::makeSystem()` and its like make the usual ones.
namespace kelm::platform {

/// They read their files below `root`: absolute, no trailing "/"; empty for the system's own.
std::shared_ptr<DeviceFacts> makeDeviceFacts(std::string root);
std::shared_ptr<Integrity> makeIntegrity(std::string root);

}  // namespace kelm::platform
