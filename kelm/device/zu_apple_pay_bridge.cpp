#include "kelm/device/zu_apple_pay_bridge.h"

#include <utility>

#include "kelm/platform/device_services/url_opener.h"

namespace kelm {

using platform::Pass;
using platform::Wallet;

namespace {

std::string_view digitsOf(std::string_view suffix) {
  constexpr std::string_view kDigits = "0123456789";
  const std::size_t from = suffix.find_first_of(kDigits);
  if (from == suffix.npos) return {};
  return suffix.substr(from, suffix.find_last_of(kDigits) - from + 1);
}

bool matches(const Pass& pass, std::string_view query) {
  if (!pass.isPaymentPass || pass.primaryAccountNumberSuffix.value_or("").empty()) return false;
  const std::string_view digits = digitsOf(*pass.primaryAccountNumberSuffix);
  return query.size() > digits.size() ? query.ends_with(digits) : digits.ends_with(query);
}

bool open(std::string_view url) { return platform::current<platform::UrlOpener>()->open(url); }

}  // namespace

ZuApplePayBridge& ZuApplePayBridge::sharedInstance() {
  static auto* const kInstance = new ZuApplePayBridge;
  return *kInstance;
}

std::vector<Pass> ZuApplePayBridge::availableVirtualizedCards() const {
  return platform::current<Wallet>()->passes(platform::PassType::Payment);
}

std::vector<Pass> ZuApplePayBridge::availableVirtualizedCardsWithSuffix(
    std::string_view suffix) const {
  std::vector<Pass> cards = availableVirtualizedCards();
  std::erase_if(cards, [&](const Pass& pass) { return !matches(pass, suffix); });
  return cards;
}

bool ZuApplePayBridge::openAppleWallet() const { return open("shoebox://"); }

void ZuApplePayBridge::openCardSetupInAppleWallet() const {
  platform::current<Wallet>()->openPaymentSetup();
}

bool ZuApplePayBridge::openCardInfoInAppleWallet(const Pass& pass) const {
  return pass.passURL && open(*pass.passURL);
}

bool ZuApplePayBridge::openCardInfoInAppleWalletForFirstCardWithSuffix(
    std::optional<std::string_view> suffix) const {
  const bool isBlank = !suffix || suffix->find_first_not_of(" \t\r\n") == suffix->npos;
  const std::vector<Pass> cards =
      isBlank ? availableVirtualizedCards() : availableVirtualizedCardsWithSuffix(*suffix);
  for (const Pass& pass : cards) {
    if (!pass.passURL) continue;
    openCardInfoInAppleWallet(pass);
    return true;
  }
  return false;
}

}  // namespace kelm
