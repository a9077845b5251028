#include "kelm/platform/linux/reachability/network_changes.h"

#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/linux/files/system_call.h"
#include "kelm/platform/process.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform {

namespace {

using Instant = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kGap{50};
constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

}  // namespace

struct NetworkChanges::State {
  const Descriptor changes{
      ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)};
  const Descriptor ended{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  Mutex mutex;
  std::vector<std::weak_ptr<const Listener>> listeners KELM_GUARDED_BY(mutex);

  bool open() const {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kGroups;
    return changes.isOpen() && ended.isOpen() &&
           ::bind(changes.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
               0;
  }

  void listen() {
    pollfd sources[] = {{changes.number(), POLLIN, 0}, {ended.number(), POLLIN, 0}};
    while (true) {
      if (!awaitChange(sources, -1)) return;
      const auto due = Instant::now() + kGap;
      while (Instant::now() < due) {
        drain();
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(due - Instant::now()).count();
        if (!awaitChange(sources, static_cast<int>(std::max<std::int64_t>(left, 0)))) return;
      }
      drain();
      tellAll();
    }
  }

 private:
  /// False once the last reference is gone.
  static bool awaitChange(std::span<pollfd> sources, int milliseconds) {
    ::poll(sources.data(), sources.size(), milliseconds);
    return (sources[1].revents & POLLIN) == 0;
  }
  /// That something changed is all that the messages are for; so one that was lost (ENOBUFS) is
  /// none the worse.
  void drain() const {
    char buffer[8192];
    ssize_t got = 1;
    while (got > 0 || (got < 0 && (errno == EINTR || errno == ENOBUFS)))
      got = ::recv(changes.number(), buffer, sizeof buffer, 0);
  }
  void tellAll() {
    std::vector<std::shared_ptr<const Listener>> living;
    {
      const Lock lock(mutex);
      std::erase_if(listeners, [&](const auto& weak) {
        auto listener = weak.lock();
        if (!listener) return true;
        living.push_back(std::move(listener));
        return false;
      });
    }
    for (const auto& listener : living)
      runReporting(*listener);
  }
};

std::shared_ptr<NetworkChanges> NetworkChanges::shared() {
  static auto* const mutex = new Mutex;
  static auto* const kept = new std::weak_ptr<NetworkChanges>;
  const Lock lock(*mutex);
  auto changes = kept->lock();
  if (changes && changes->process_ == ::getpid()) return changes;
  auto state = std::make_shared<State>();
  if (!state->open()) return nullptr;
  startThread("kelm.network", [state] { state->listen(); });
  changes.reset(new NetworkChanges(std::move(state)));
  *kept = changes;
  return changes;
}

NetworkChanges::NetworkChanges(std::shared_ptr<State> state)
    : state_(std::move(state)), process_(::getpid()) {}

NetworkChanges::~NetworkChanges() {
  if (process_ != ::getpid()) return;  // the thread is the parent's, which shares the descriptor
  const std::uint64_t one = 1;
  static_cast<void>(!retried([&] { return ::write(state_->ended.number(), &one, sizeof one); }));
}

void NetworkChanges::add(std::weak_ptr<const Listener> listener) {
  const Lock lock(state_->mutex);
  state_->listeners.push_back(std::move(listener));
}

}  // namespace kelm::platform
