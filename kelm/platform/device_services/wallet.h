#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

enum class PassType { Barcode = 0, Payment = 1 };

/// A pass of the wallet: a payment card, ticket or boarding pass.
struct Pass {
  PassType type = PassType::Payment;
  bool isPaymentPass = true;  ///< it has the fields of a payment card
  std::optional<std::string> primaryAccountNumberSuffix;
  std::optional<std::string> passURL;  ///< its page in the wallet
  std::string title;

  bool operator==(const Pass&) const = default;
};

/// The passes that the user keeps. Thread-safe.
class KELM_API Wallet {
 public:
  virtual ~Wallet() = default;
  /// Holds the one in use; `current<Wallet>()` returns it.
  static Slot<Wallet>& slot();
  /// Makes the system's own. On Linux the files "*.json" of the folder "wallet" in the
  /// application's home, in the order of their names: {"type": "payment",
  /// "primaryAccountNumberSuffix": "1234", "passURL": "https://…", "title": "…"}, where all but the
  /// type may be missing. A file that is malformed, or larger than 1 MiB, is left out with one line
  /// on the console.
  static std::shared_ptr<Wallet> makeSystem();
  /// All passes of that type, in the wallet's order.
  virtual std::vector<Pass> passes(PassType type) const = 0;
  /// Shows the wallet's page for adding a payment card; without one nothing happens.
  virtual void openPaymentSetup() = 0;
};

}  // namespace kelm::platform
