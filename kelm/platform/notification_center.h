#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "kelm/base/value.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

struct Notification {
  std::string name;
  ObjectPointer sender;
  Dictionary userInfo;
};

/// Delivers named notifications within the process, on the poster's thread, in the order in which
/// observers were added. Thread-safe; observers may add and remove while being called.
class KELM_API NotificationCenter {
 public:
  using Observer = std::function<void(const Notification&)>;
  /// Observes until it is destroyed. Destroying waits for calls in other threads to end.
  class Registration {
   public:
    virtual ~Registration() = default;
  };

  virtual ~NotificationCenter() = default;
  /// Holds the one in use; `current<NotificationCenter>()` returns it.
  static Slot<NotificationCenter>& slot();
  /// Makes the system's own.
  static std::shared_ptr<NotificationCenter> makeSystem();
  /// `name`: which notifications to receive; an empty name receives all.
  [[nodiscard]] virtual std::unique_ptr<Registration> observe(std::string_view name,
                                                              Observer observer) = 0;
  virtual void post(const Notification& notification) = 0;
};

}  // namespace kelm::platform
