#include "kelm/platform/linux/stream/resolver.h"

#include <netdb.h>

#include <cstring>
#include <memory>

namespace kelm::platform {

namespace {

std::vector<SocketAddress> inTurns(const std::vector<SocketAddress>& addresses) {
  std::vector<SocketAddress> preferred, others, result;
  for (const SocketAddress& address : addresses)
    (address.storage.ss_family == addresses[0].storage.ss_family ? preferred : others)
        .push_back(address);
  for (std::size_t i = 0; result.size() < addresses.size(); ++i) {
    if (i < preferred.size()) result.push_back(preferred[i]);
    if (i < others.size()) result.push_back(others[i]);
  }
  return result;
}

}  // namespace

std::vector<SocketAddress> resolve(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* list = nullptr;
  if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(list, &::freeaddrinfo);
  std::vector<SocketAddress> addresses;
  for (const addrinfo* one = list; one != nullptr; one = one->ai_next) {
    SocketAddress address;
    if (one->ai_addrlen > sizeof address.storage) continue;
    std::memcpy(&address.storage, one->ai_addr, one->ai_addrlen);
    address.size = one->ai_addrlen;
    addresses.push_back(address);
  }
  return inTurns(addresses);
}

}  // namespace kelm::platform
