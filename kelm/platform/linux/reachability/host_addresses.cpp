#include "kelm/platform/linux/reachability/host_addresses.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <utility>

#include "kelm/platform/process.h"

namespace kelm::platform {

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLookUpLimit = 10 * kSecond;
constexpr std::int64_t kFresh = 30 * kSecond;
constexpr std::size_t kMostAddresses = 16;

std::int64_t now() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

SocketAddress addressOf(SocketAddress::Family family, const void* bytes) {
  SocketAddress address;
  address.family = family;
  std::memcpy(address.address.data(), bytes, family == SocketAddress::Family::IPv4 ? 4 : 16);
  return address;
}

/// Absent when nobody could say; empty when the name has no address.
std::optional<std::vector<SocketAddress>> resolved(const std::string& name) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int status = ::getaddrinfo(name.c_str(), nullptr, &hints, &list);
  std::vector<SocketAddress> found;
  if (status == EAI_NONAME) return found;
  if (status != 0) return std::nullopt;
  for (const addrinfo* i = list; i != nullptr && found.size() < kMostAddresses; i = i->ai_next) {
    if (i->ai_family == AF_INET)
      found.push_back(addressOf(SocketAddress::Family::IPv4,
                                &reinterpret_cast<const sockaddr_in*>(i->ai_addr)->sin_addr));
    if (i->ai_family == AF_INET6)
      found.push_back(addressOf(SocketAddress::Family::IPv6,
                                &reinterpret_cast<const sockaddr_in6*>(i->ai_addr)->sin6_addr));
  }
  ::freeaddrinfo(list);
  return found;
}

}  // namespace

std::optional<SocketAddress> addressOfText(const std::string& text) {
  in6_addr bytes{};
  if (::inet_pton(AF_INET, text.c_str(), &bytes) == 1)
    return addressOf(SocketAddress::Family::IPv4, &bytes);
  if (::inet_pton(AF_INET6, text.c_str(), &bytes) == 1)
    return addressOf(SocketAddress::Family::IPv6, &bytes);
  return std::nullopt;
}

std::optional<std::vector<SocketAddress>> HostAddresses::known() {
  bool isOld = false;
  std::optional<std::vector<SocketAddress>> found;
  {
    const Lock lock(mutex_);
    isOld = now() - started_ > kFresh;
    found = found_;
  }
  if (isOld) lookUp();
  return found;
}

void HostAddresses::lookUp() {
  std::uint64_t number = 0;
  {
    const Lock lock(mutex_);
    if (isUnderWay_ && now() - started_ < kLookUpLimit) return;
    isUnderWay_ = true;
    started_ = now();
    number = ++latest_;
  }
  try {
    startThread("kelm.resolve", [weak = weak_from_this(), name = name_, number] {
      auto found = resolved(name);
      if (const auto self = weak.lock()) self->finish(number, std::move(found));
    });
  } catch (const std::exception&) {
    finish(number, std::nullopt);  // no thread to be had: as if nobody had answered
  }
}

void HostAddresses::add(std::weak_ptr<const std::function<void()>> listener) {
  const Lock lock(mutex_);
  std::erase_if(listeners_, [](const auto& weak) { return weak.expired(); });
  listeners_.push_back(std::move(listener));
}

void HostAddresses::finish(std::uint64_t number, std::optional<std::vector<SocketAddress>> found) {
  std::vector<std::weak_ptr<const std::function<void()>>> listeners;
  {
    const Lock lock(mutex_);
    if (number != latest_) return;  // a later look-up knows better
    isUnderWay_ = false;
    if (found) found_ = std::move(found);
    listeners = listeners_;
  }
  for (const auto& weak : listeners)
    if (const auto listener = weak.lock()) (*listener)();
}

}  // namespace kelm::platform
