#pragma once

#include "kelm/base/export.h"
#include "kelm/platform/device_services/integrity.h"

namespace kelm::testing {

/// Signs that are the test's to set, before other threads look. None at first.
class KELM_API MemoryIntegrity : public platform::Integrity {
 public:
  std::vector<std::string> findings() const override { return signs; }

  std::vector<std::string> signs;
};

}  // namespace kelm::testing
