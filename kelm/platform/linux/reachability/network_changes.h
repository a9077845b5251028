#pragma once

#include <functional>
#include <memory>

namespace kelm::platform {

/// Hears of every change of links, addresses and routes, on one thread, which sleeps while nothing
/// changes and ends with the last reference. Thread-safe.
class NetworkChanges {
 public:
  /// Called on that thread, 50 ms after the first of a burst of changes.
  using Listener = std::function<void()>;

  /// The one of this process, made when nobody holds it; the child of a fork() gets its own. Null
  /// when the kernel does not tell.
  static std::shared_ptr<NetworkChanges> shared();

  ~NetworkChanges();
  NetworkChanges(const NetworkChanges&) = delete;
  NetworkChanges& operator=(const NetworkChanges&) = delete;

  /// Calls the listener for as long as it exists.
  void add(std::weak_ptr<const Listener> listener);

 private:
  struct State;
  explicit NetworkChanges(std::shared_ptr<State> state);

  const std::shared_ptr<State> state_;
  const int process_;
};

}  // namespace kelm::platform
