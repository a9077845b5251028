#pragma once

#include "kelm/base/export.h"
#include "kelm/platform/device_services/telephony.h"

namespace kelm::testing {

/// A mobile network that is the test's to set, before other threads look. None at first.
class KELM_API MemoryTelephony : public platform::Telephony {
 public:
  platform::Carrier carrier() const override { return registered; }

  platform::Carrier registered;
};

}  // namespace kelm::testing
