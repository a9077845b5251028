#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/console.h"

namespace kelm::testing {

/// Keeps what was written to the console.
class KELM_API MemoryConsole : public platform::Console {
 public:
  void writeLine(std::string_view text) override {
    const Lock lock(mutex_);
    lines_.emplace_back(text);
  }
  std::vector<std::string> lines() const {
    const Lock lock(mutex_);
    return lines_;
  }

 private:
  mutable Mutex mutex_;
  std::vector<std::string> lines_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
