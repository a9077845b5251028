#include "kelm/network/kelm_reachability.h"

#include <utility>

#include "kelm/platform/notification_center.h"

namespace kelm {

const char* const kelmReachabilityChangedNotification = "kNetworkReachabilityChangedNotification";

namespace flag = platform::reachability_flag;
using platform::ReachabilityFlags;

std::shared_ptr<KelmReachability> KelmReachability::reachabilityWithHostName(
    std::string_view hostName) {
  return over(platform::current<platform::Reachability>()->forHost(hostName));
}

std::shared_ptr<KelmReachability> KelmReachability::reachabilityWithAddress(
    const platform::SocketAddress& address) {
  return over(platform::current<platform::Reachability>()->forAddress(address));
}

std::shared_ptr<KelmReachability> KelmReachability::reachabilityForInternetConnection() {
  return reachabilityWithAddress({});
}

std::shared_ptr<KelmReachability> KelmReachability::reachabilityForLocalWiFi() {
  platform::SocketAddress linkLocal;
  linkLocal.address = {169, 254};
  return over(platform::current<platform::Reachability>()->forAddress(linkLocal), true);
}

std::shared_ptr<KelmReachability> KelmReachability::over(
    std::shared_ptr<platform::ReachabilityTarget> target, bool alwaysReturnLocalWiFiStatus) {
  if (!target) return nullptr;
  return std::shared_ptr<KelmReachability>(
      new KelmReachability(std::move(target), alwaysReturnLocalWiFiStatus));
}

KelmReachability::KelmReachability(std::shared_ptr<platform::ReachabilityTarget> target,
                                   bool alwaysReturnLocalWiFiStatus)
    : alwaysReturnLocalWiFiStatus_(alwaysReturnLocalWiFiStatus),
      reachabilityRef_(std::move(target)) {}

KelmReachability::~KelmReachability() { stopNotifier(); }

bool KelmReachability::startNotifier() {
  auto queue = platform::current<platform::Dispatcher>()->currentQueue();
  if (!queue) return false;
  auto watch =
      reachabilityRef_->watch(std::move(queue), [weak = weak_from_this()](ReachabilityFlags) {
        // The object that is posted outlives the posting, also when its owner drops it meanwhile.
        if (const auto self = weak.lock())
          platform::current<platform::NotificationCenter>()->post(
              {kelmReachabilityChangedNotification, self, {}});
      });
  if (!watch) return false;
  replaceWatch(std::move(watch));
  return true;
}

void KelmReachability::stopNotifier() { replaceWatch(nullptr); }

void KelmReachability::replaceWatch(std::shared_ptr<platform::ReachabilityWatch> watch) {
  {
    const Lock lock(mutex_);
    watch_.swap(watch);
  }
  if (watch) watch->end();  // unlocked: it may wait for an observer, which may call this object
}

KelmNetworkStatus KelmReachability::currentReachabilityStatus() const {
  const auto flags = reachabilityRef_->flags();
  if (!flags) return KelmNetworkStatus::NotReachable;
  return alwaysReturnLocalWiFiStatus_ ? localWiFiStatusForFlags(*flags)
                                      : networkStatusForFlags(*flags);
}

bool KelmReachability::connectionRequired() const {
  return (reachabilityRef_->flags().value_or(0) & flag::kConnectionRequired) != 0;
}

KelmNetworkStatus KelmReachability::localWiFiStatusForFlags(ReachabilityFlags flags) const {
  constexpr ReachabilityFlags kBoth = flag::kReachable | flag::kIsDirect;
  return (flags & kBoth) == kBoth ? KelmNetworkStatus::ReachableViaWiFi
                                  : KelmNetworkStatus::NotReachable;
}

KelmNetworkStatus KelmReachability::networkStatusForFlags(ReachabilityFlags flags) const {
  if ((flags & flag::kReachable) == 0) return KelmNetworkStatus::NotReachable;
  if ((flags & flag::kIsCellular) != 0) return KelmNetworkStatus::ReachableViaWWAN;
  const bool connectsItself =
      (flags & (flag::kConnectionOnDemand | flag::kConnectionOnTraffic)) != 0 &&
      (flags & flag::kInterventionRequired) == 0;
  if (connectsItself) return KelmNetworkStatus::ReachableViaWiFi;
  return (flags & flag::kConnectionRequired) == 0 ? KelmNetworkStatus::ReachableViaWiFi
                                                  : KelmNetworkStatus::NotReachable;
}

}  // namespace kelm
