#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/device_services/wallet.h"

namespace kelm {

/// Finds the payment cards in the user's wallet and opens their pages. Has no state; one instance a
/// process. Nothing is logged: every failure is false or an empty list. Thread-safe.
class KELM_API ZuApplePayBridge {
 public:
  /// `sharedInstance`
  static ZuApplePayBridge& sharedInstance();

  /// `availableVirtualizedCards` All payment passes, in the wallet's order.
  std::vector<platform::Pass> availableVirtualizedCards() const;
  /// `availableVirtualizedCardsWithSuffix:` Those whose card number's last digits match: of the
  /// query and the pass's digits the longer one ends with the shorter. Masking characters at the
  /// ends of the pass's suffix do not count; a pass without a suffix never matches.
  std::vector<platform::Pass> availableVirtualizedCardsWithSuffix(std::string_view suffix) const;
  /// `openAppleWallet` True if the wallet, "shoebox://", was opened.
  bool openAppleWallet() const;
  /// `openCardSetupInAppleWallet` Shows the page for adding a payment card.
  void openCardSetupInAppleWallet() const;
  /// `openCardInfoInAppleWallet:` True if the pass has a page and it was opened.
  bool openCardInfoInAppleWallet(const platform::Pass& pass) const;
  /// `openCardInfoInAppleWalletForFirstCardWithSuffix:` Opens the first card with a page, of those
  /// that match; an absent or blank query matches all. True if there is one, even if it could not
  /// be opened.
  bool openCardInfoInAppleWalletForFirstCardWithSuffix(
      std::optional<std::string_view> suffix) const;

 private:
  ZuApplePayBridge() = default;
};

}  // namespace kelm
