#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/reachability/reachability.h"

namespace kelm::testing {

/// A network that is as the test says. Every name and address has the same flags: none at first.
/// Thread-safe.
class KELM_API MemoryReachability final : public platform::Reachability {
 public:
  /// Absent: cannot be read. Tells the watches; nothing waits for 50 ms to pass.
  void setFlags(std::optional<platform::ReachabilityFlags> flags) { network_->set(flags); }
  /// From now on nothing can be watched.
  void refuseWatches() { network_->refuses = true; }
  /// Everything that was asked for, in order: names, and addresses with their numbers such as
  /// "169.254.0.0".
  std::vector<std::string> targets() const {
    const Lock lock(network_->mutex);
    return network_->targets;
  }

  std::shared_ptr<platform::ReachabilityTarget> forHost(std::string_view name) override {
    return name.empty() ? nullptr : network_->add(std::string(name), network_);
  }
  std::shared_ptr<platform::ReachabilityTarget> forAddress(
      const platform::SocketAddress& address) override {
    const std::size_t size = address.family == platform::SocketAddress::Family::IPv4 ? 4 : 16;
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
      text += (i > 0 ? "." : "") + std::to_string(address.address[i]);
    return network_->add(std::move(text), network_);
  }

 private:
  class Target;
  struct Network {
    mutable Mutex mutex;
    std::optional<platform::ReachabilityFlags> flags KELM_GUARDED_BY(mutex) = 0;
    std::vector<std::string> targets KELM_GUARDED_BY(mutex);
    std::vector<std::weak_ptr<platform::ReachabilityWatch>> watches KELM_GUARDED_BY(mutex);
    std::atomic<bool> refuses{false};

    void set(std::optional<platform::ReachabilityFlags> now) {
      std::vector<std::weak_ptr<platform::ReachabilityWatch>> told;
      {
        const Lock lock(mutex);
        flags = now;
        told = watches;
      }
      for (const auto& weak : told)
        if (const auto watch = weak.lock()) watch->tell(now);
    }
    std::shared_ptr<platform::ReachabilityTarget> add(std::string name,
                                                      const std::shared_ptr<Network>& self) {
      const Lock lock(mutex);
      targets.push_back(std::move(name));
      return std::make_shared<Target>(self);
    }
  };
  class Target : public platform::ReachabilityTarget {
   public:
    explicit Target(std::shared_ptr<Network> network) : network_(std::move(network)) {}

    std::optional<platform::ReachabilityFlags> flags() override {
      const Lock lock(network_->mutex);
      return network_->flags;
    }
    std::shared_ptr<platform::ReachabilityWatch> watch(
        std::shared_ptr<platform::Queue> queue, platform::ReachabilityChanged changed) override {
      if (network_->refuses) return nullptr;
      const Lock lock(network_->mutex);
      auto watch = std::make_shared<platform::ReachabilityWatch>(
          std::move(queue), std::move(changed), network_->flags);
      network_->watches.push_back(watch);
      return watch;
    }

   private:
    const std::shared_ptr<Network> network_;
  };

  const std::shared_ptr<Network> network_ = std::make_shared<Network>();
};

}  // namespace kelm::testing
