#pragma once

#include <string_view>

#include "kelm/base/export.h"

namespace kelm::platform {

/// The plain console, for what must not go through the logger. Thread-safe; lines are whole.
class KELM_API Console {
 public:
  virtual ~Console() = default;
  /// Writes the text and a line end; a console that is closed swallows it.
  virtual void writeLine(std::string_view text) = 0;
};

}  // namespace kelm::platform
