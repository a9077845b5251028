#pragma once

#include <memory>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// The system's log. Thread-safe.
class KELM_API SystemLog {
 public:
  /// A handle that writes under one subsystem and category.
  class Channel {
   public:
    virtual ~Channel() = default;
    /// One entry of the default type; the text is not redacted. Never fails visibly.
    virtual void write(std::string_view text) = 0;
  };

  virtual ~SystemLog() = default;
  /// Holds the one in use; `current<SystemLog>()` returns it.
  static Slot<SystemLog>& slot();
  /// Makes the system's own.
  static std::shared_ptr<SystemLog> makeSystem();
  /// `subsystem`: the application's identifier.
  virtual std::unique_ptr<Channel> open(std::string_view subsystem, std::string_view category) = 0;
};

}  // namespace kelm::platform
