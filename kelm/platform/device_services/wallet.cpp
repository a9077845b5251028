#include "kelm/platform/device_services/wallet.h"

namespace kelm::platform {

Slot<Wallet>& Wallet::slot() {
  static constinit Slot<Wallet> held;
  return held;
}

}  // namespace kelm::platform
