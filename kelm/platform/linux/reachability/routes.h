#pragma once

#include <optional>

#include "kelm/platform/reachability/reachability.h"

namespace kelm::platform {

/// The flags of an address by the kernel's routes and links of now, asked on a socket of this call
/// alone. Absent when the kernel cannot be asked.
std::optional<ReachabilityFlags> routeFlags(const SocketAddress& address);

/// True if one way is to be told rather than another: any rather than none, and one that is not
/// cellular rather than one that is.
bool isBetterWay(ReachabilityFlags way, ReachabilityFlags other);

}  // namespace kelm::platform
