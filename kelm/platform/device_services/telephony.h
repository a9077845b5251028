#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

struct Carrier {
  std::optional<std::string> mobileCountryCode;  ///< ITU-T E.212, three digits
  std::optional<std::string> mobileNetworkCode;  ///< ITU-T E.212, two or three digits
  std::optional<std::string> name;
};

/// The mobile network that the device is registered with. Thread-safe.
class KELM_API Telephony {
 public:
  virtual ~Telephony() = default;
  /// Holds the one in use; `current<Telephony>()` returns it.
  static Slot<Telephony>& slot();
  /// Makes the system's own. On Linux it asks ModemManager on the system bus, for 500 ms at most.
  static std::shared_ptr<Telephony> makeSystem();
  /// Every part is absent without a modem or a network.
  virtual Carrier carrier() const = 0;
};

}  // namespace kelm::platform
