#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/reachability/reachability.h"

namespace kelm::platform {

/// The address that a text is, without asking anybody; absent for a name.
std::optional<SocketAddress> addressOfText(const std::string& text);

/// The addresses of a host's name, looked up on threads of their own that nobody waits for.
/// Thread-safe.
class HostAddresses : public std::enable_shared_from_this<HostAddresses> {
 public:
  explicit HostAddresses(std::string name) : name_(std::move(name)) {}

  /// Returns the result of the last look-up; absent before the first has ended. Starts another one
  /// when that is 30 s ago.
  std::optional<std::vector<SocketAddress>> known() KELM_EXCLUDES(mutex_);
  /// Starts a look-up unless one is under way; one that takes more than 10 s counts as lost.
  void lookUp() KELM_EXCLUDES(mutex_);
  /// Calls the listener, on the look-up's thread, when one has ended.
  void add(std::weak_ptr<const std::function<void()>> listener) KELM_EXCLUDES(mutex_);

 private:
  void finish(std::uint64_t number, std::optional<std::vector<SocketAddress>> found)
      KELM_EXCLUDES(mutex_);

  const std::string name_;
  Mutex mutex_;
  std::optional<std::vector<SocketAddress>> found_ KELM_GUARDED_BY(mutex_);
  std::uint64_t latest_ KELM_GUARDED_BY(mutex_) = 0;  ///< number of the look-up started last
  bool isUnderWay_ KELM_GUARDED_BY(mutex_) = false;
  std::int64_t started_ KELM_GUARDED_BY(mutex_) = 0;  ///< nanoseconds of the steady clock
  std::vector<std::weak_ptr<const std::function<void()>>> listeners_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::platform
