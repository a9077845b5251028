#include "kelm/platform/reachability/reachability.h"

#include <utility>

namespace kelm::platform {

namespace {

constinit Slot<Reachability> kept;

}  // namespace

Slot<Reachability>& Reachability::slot() { return kept; }

ReachabilityWatch::ReachabilityWatch(std::shared_ptr<Queue> queue, ReachabilityChanged changed,
                                     std::optional<ReachabilityFlags> known)
    : queue_(std::move(queue)), changed_(std::move(changed)), told_(known.value_or(0)) {}

void ReachabilityWatch::tell(std::optional<ReachabilityFlags> flags) {
  const ReachabilityFlags now = flags.value_or(0);
  // Without the lock: a slow observer must not hold up whoever watches the network.
  if (ended_ || told_.exchange(now) == now) return;
  queue_->post([self = shared_from_this(), now] { self->deliver(now); });
}

void ReachabilityWatch::end() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
}

void ReachabilityWatch::deliver(ReachabilityFlags flags) {
  // Held during the call, so that end() on another thread waits for it; recursive, so that the
  // callback may end its own watch.
  const std::lock_guard lock(mutex_);
  if (!ended_) changed_(flags);
}

}  // namespace kelm::platform
