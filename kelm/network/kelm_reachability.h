#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/base/object.h"
#include "kelm/platform/reachability/reachability.h"

namespace kelm {

/// How something can be reached; a signed integer in what the host stores or sends.
enum class KelmNetworkStatus : std::int64_t {
  NotReachable = 0,
  ReachableViaWiFi = 1,  ///< or any other link that is not cellular
  ReachableViaWWAN = 2,  ///< the cellular network
};

/// The name of the notification that a change posts.
KELM_API extern const char* const kelmReachabilityChangedNotification;

/// Tells whether a host, an address, the internet or the local link can be reached, and posts a
/// notification when that changes. Reachable says that there is a way, not that anybody answers.
/// Thread-safe, but for what `stopNotifier` says.
class KELM_API KelmReachability final : public Object,
                                        public std::enable_shared_from_this<KelmReachability> {
 public:
  /// `reachabilityWithHostName:` Null for a text that is no host's name. The name is resolved in
  /// the background; until then, and while it has no address, the status is 0. The notifier tells
  /// when that changes.
  static std::shared_ptr<KelmReachability> reachabilityWithHostName(std::string_view hostName);
  /// `reachabilityWithAddress:` Null when the system has no answer for such addresses.
  static std::shared_ptr<KelmReachability> reachabilityWithAddress(
      const platform::SocketAddress& address);
  /// `reachabilityForInternetConnection` That of the IPv4 address 0.0.0.0, which stands for the
  /// internet.
  static std::shared_ptr<KelmReachability> reachabilityForInternetConnection();
  /// `reachabilityForLocalWiFi` That of the IPv4 link-local network, 169.254.0.0; its status is 0
  /// or 1.
  static std::shared_ptr<KelmReachability> reachabilityForLocalWiFi();

  ~KelmReachability() override;

  /// `startNotifier` From now on each change posts `kelmReachabilityChangedNotification` with this
  /// object as sender, on the queue of the calling thread: the main loop or a serial queue.
  /// Replaces an earlier start. False when the system cannot watch, and on a thread without a
  /// queue.
  bool startNotifier();
  /// `stopNotifier` No notification begins once this has returned. On another thread than that of
  /// the notifications it waits for one that is being posted, so no observer may wait for it.
  void stopNotifier();
  /// `currentReachabilityStatus` `NotReachable` also when the system cannot tell.
  KelmNetworkStatus currentReachabilityStatus() const;
  /// `connectionRequired` True if the flags can be read and tell that a connection has to be made
  /// first.
  bool connectionRequired() const;
  /// `localWiFiStatusForFlags:`
  KelmNetworkStatus localWiFiStatusForFlags(platform::ReachabilityFlags flags) const;
  /// `networkStatusForFlags:`
  KelmNetworkStatus networkStatusForFlags(platform::ReachabilityFlags flags) const;

 private:
  KelmReachability(std::shared_ptr<platform::ReachabilityTarget> target,
                   bool alwaysReturnLocalWiFiStatus);
  static std::shared_ptr<KelmReachability> over(
      std::shared_ptr<platform::ReachabilityTarget> target,
      bool alwaysReturnLocalWiFiStatus = false);
  void replaceWatch(std::shared_ptr<platform::ReachabilityWatch> watch);

  const bool alwaysReturnLocalWiFiStatus_;
  const std::shared_ptr<platform::ReachabilityTarget> reachabilityRef_;
  Mutex mutex_;
  std::shared_ptr<platform::ReachabilityWatch> watch_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
