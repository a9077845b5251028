#include "kelm/platform/reachability/reachability.h"

#include <string>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/linux/reachability/host_addresses.h"
#include "kelm/platform/linux/reachability/network_changes.h"
#include "kelm/platform/linux/reachability/routes.h"

namespace kelm::platform {

namespace {

/// A watch with what it has to be kept for: the listener, and the thread that calls it.
struct Listening {
  std::shared_ptr<NetworkChanges> changes;
  std::shared_ptr<const NetworkChanges::Listener> listener;
  std::shared_ptr<ReachabilityWatch> watch;
};

std::shared_ptr<ReachabilityWatch> listened(std::shared_ptr<ReachabilityTarget> target,
                                            std::shared_ptr<Queue> queue,
                                            ReachabilityChanged changed, HostAddresses* host) {
  auto listening = std::make_shared<Listening>();
  listening->changes = NetworkChanges::shared();
  if (!listening->changes) return nullptr;
  listening->watch =
      std::make_shared<ReachabilityWatch>(std::move(queue), std::move(changed), target->flags());
  listening->listener = std::make_shared<const NetworkChanges::Listener>(
      [target, watch = listening->watch, order = std::make_shared<Mutex>()] {
        const Lock lock(*order);  // so that what was read last is told last
        watch->tell(target->flags());
      });
  listening->changes->add(listening->listener);
  if (host != nullptr) host->add(listening->listener);
  // A change between the first reading and the listening would be missed.
  (*listening->listener)();
  return {listening, listening->watch.get()};
}

class AddressTarget : public ReachabilityTarget,
                      public std::enable_shared_from_this<AddressTarget> {
 public:
  explicit AddressTarget(const SocketAddress& address) : address_(address) {}

  std::optional<ReachabilityFlags> flags() override { return routeFlags(address_); }
  std::shared_ptr<ReachabilityWatch> watch(std::shared_ptr<Queue> queue,
                                           ReachabilityChanged changed) override {
    return listened(shared_from_this(), std::move(queue), std::move(changed), nullptr);
  }

 private:
  const SocketAddress address_;
};

class HostTarget : public ReachabilityTarget, public std::enable_shared_from_this<HostTarget> {
 public:
  explicit HostTarget(std::string name) : host_(std::make_shared<HostAddresses>(std::move(name))) {
    host_->lookUp();
  }

  /// The best way to any of the addresses.
  std::optional<ReachabilityFlags> flags() override {
    const auto addresses = host_->known();
    if (!addresses) return std::nullopt;
    ReachabilityFlags best = 0;
    for (const SocketAddress& address : *addresses) {
      const auto flags = routeFlags(address);
      if (!flags) return std::nullopt;
      if (isBetterWay(*flags, best)) best = *flags;
    }
    return best;
  }
  std::shared_ptr<ReachabilityWatch> watch(std::shared_ptr<Queue> queue,
                                           ReachabilityChanged changed) override {
    return listened(shared_from_this(), std::move(queue), std::move(changed), host_.get());
  }

 private:
  const std::shared_ptr<HostAddresses> host_;
};

class RouteReachability : public Reachability {
 public:
  std::shared_ptr<ReachabilityTarget> forHost(std::string_view name) override {
    if (name.empty() || name.size() > 253 || name.find('\0') != std::string_view::npos)
      return nullptr;
    const std::string text(name);
    if (const auto address = addressOfText(text)) return forAddress(*address);
    return std::make_shared<HostTarget>(text);
  }
  std::shared_ptr<ReachabilityTarget> forAddress(const SocketAddress& address) override {
    return std::make_shared<AddressTarget>(address);
  }
};

}  // namespace

std::shared_ptr<Reachability> Reachability::makeSystem() {
  return std::make_shared<RouteReachability>();
}

}  // namespace kelm::platform
