#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelm::platform {

struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;
};

/// The TCP addresses of a name, in the order in which they are to be tried: families take turns,
/// the one that the system prefers first (RFC 8305, 4). Empty when there are none. Waits for the
/// system's resolver.
std::vector<SocketAddress> resolve(const std::string& host, std::uint16_t port);

}  // namespace kelm::platform
