#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// How a target can be reached: a set of the bits below.
using ReachabilityFlags = std::uint32_t;
namespace reachability_flag {
inline constexpr ReachabilityFlags kReachable = 0x2;
inline constexpr ReachabilityFlags kConnectionRequired = 0x4;
inline constexpr ReachabilityFlags kConnectionOnTraffic = 0x8;
inline constexpr ReachabilityFlags kInterventionRequired = 0x10;
inline constexpr ReachabilityFlags kConnectionOnDemand = 0x20;
inline constexpr ReachabilityFlags kIsLocalAddress = 0x10000;
inline constexpr ReachabilityFlags kIsDirect = 0x20000;  ///< on the link, through no gateway
inline constexpr ReachabilityFlags kIsCellular = 0x40000;
}  // namespace reachability_flag

struct SocketAddress {
  enum class Family { IPv4 = 2, IPv6 = 10 };
  Family family = Family::IPv4;
  std::array<std::uint8_t, 16> address{};  ///< network byte order; of IPv4 the first four
  std::uint16_t port = 0;                  ///< plays no part in reachability

  bool operator==(const SocketAddress&) const = default;
};

using ReachabilityChanged = std::function<void(ReachabilityFlags)>;

/// A callback on its way to a queue. Thread-safe.
class KELM_API ReachabilityWatch : public std::enable_shared_from_this<ReachabilityWatch> {
 public:
  /// `known`: the flags that the watcher need not be told.
  ReachabilityWatch(std::shared_ptr<Queue> queue, ReachabilityChanged changed,
                    std::optional<ReachabilityFlags> known);
  /// Posts the callback with the flags if they differ from those that were told last. Absent flags
  /// are told as none.
  void tell(std::optional<ReachabilityFlags> flags);
  /// No call begins once this has returned, and one under way on another thread has ended. The
  /// callback itself may call this.
  void end();

 private:
  void deliver(ReachabilityFlags flags);

  const std::shared_ptr<Queue> queue_;
  const ReachabilityChanged changed_;
  std::recursive_mutex mutex_;  ///< held during a call
  std::atomic<ReachabilityFlags> told_;
  std::atomic<bool> ended_{false};
};

/// A host or an address. Thread-safe.
class KELM_API ReachabilityTarget {
 public:
  virtual ~ReachabilityTarget() = default;
  /// The flags of now, without waiting; absent when they cannot be read, and of a host while its
  /// name is not resolved.
  virtual std::optional<ReachabilityFlags> flags() = 0;
  /// Has `changed` called on `queue` whenever the flags have changed, until the watch is ended; it
  /// must be, before it is dropped. Changes within 50 ms come as one. Null when the system cannot
  /// watch.
  [[nodiscard]] virtual std::shared_ptr<ReachabilityWatch> watch(std::shared_ptr<Queue> queue,
                                                                 ReachabilityChanged changed) = 0;
};

/// Tells how hosts and addresses can be reached, by what this machine knows: its routes and links.
/// Nothing is sent to a target. Thread-safe; works on in the child of a fork().
class KELM_API Reachability {
 public:
  virtual ~Reachability() = default;
  /// Holds the one in use; `current<Reachability>()` returns it.
  static Slot<Reachability>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Reachability> makeSystem();
  /// Null for a text that is no host's name or address. A name is resolved in the background.
  virtual std::shared_ptr<ReachabilityTarget> forHost(std::string_view name) = 0;
  /// The address 0.0.0.0 stands for the internet: a default route of either family. Null when the
  /// system has no answer for such addresses.
  virtual std::shared_ptr<ReachabilityTarget> forAddress(const SocketAddress& address) = 0;
};

}  // namespace kelm::platform
