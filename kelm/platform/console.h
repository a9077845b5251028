#pragma once

#include <memory>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// The plain console, for what must not go through the logger. Thread-safe; lines are whole.
class KELM_API Console {
 public:
  virtual ~Console() = default;
  /// Holds the one in use; `current<Console>()` returns it.
  static Slot<Console>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Console> makeSystem();
  /// Writes the text and a line end; a console that is closed swallows it.
  virtual void writeLine(std::string_view text) = 0;
};

}  // namespace kelm::platform
