#pragma once

#include <functional>
#include <memory>

#include "kelm/platform/linux/stream/resolver.h"
#include "kelm/platform/streams/stream.h"

// Makers for tests; `Streams::makeSystem()` makes the usual one.
namespace kelm::platform {

using Resolve = std::function<std::vector<SocketAddress>(const std::string&, std::uint16_t)>;

/// Connections to the addresses that a function names for a host; it is called off the main loop.
std::shared_ptr<Streams> makeStreams(Resolve resolve);

}  // namespace kelm::platform
