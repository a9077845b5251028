#pragma once

#include "kelm/base/export.h"
#include "kelm/platform/device_services/wallet.h"

namespace kelm::testing {

/// A wallet whose passes are the test's to set, before other threads look.
class KELM_API MemoryWallet : public platform::Wallet {
 public:
  std::vector<platform::Pass> passes(platform::PassType type) const override {
    std::vector<platform::Pass> found;
    for (const platform::Pass& pass : kept)
      if (pass.type == type) found.push_back(pass);
    return found;
  }
  void openPaymentSetup() override { ++setupsOpened; }

  std::vector<platform::Pass> kept;
  int setupsOpened = 0;
};

}  // namespace kelm::testing
