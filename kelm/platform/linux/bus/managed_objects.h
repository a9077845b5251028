#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/platform/linux/bus/bus_call.h"

namespace kelm::platform {

/// The properties of every object of a service that has that interface, in the order of the
/// objects' paths; absent when the service does not answer within the limit.
std::optional<std::vector<Dictionary>> managedObjects(const std::string& destination,
                                                      const std::string& path,
                                                      std::string_view interface, Duration limit);

/// The text, number or flag of a property; absent if it is missing or of another kind.
std::optional<std::string> textProperty(const Dictionary& properties, std::string_view name);
std::int64_t numberProperty(const Dictionary& properties, std::string_view name);

}  // namespace kelm::platform
