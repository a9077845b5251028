// link: kelm_validation
// Account and card numbers: the quick forms agree with the plain ones, whatever the text.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kelm/base/utf16.h"
#include "kelm/validation/bank_identifiers.h"
#include "kelm/validation/iban_validator.h"
#include "kelm/validation/kelm_luhn_check.h"
#include "kelm/validation/smart_payment_utils.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

bool plainLuhn(std::string_view text) {
  const auto characters = kelm::KelmLuhnCheck().toCharArrayFromString(text);
  int sum = 0;
  bool isDoubled = false;
  for (auto character = characters.rbegin(); character != characters.rend(); ++character) {
    const char c = character->front();
    const int digit = c >= '0' && c <= '9' ? c - '0' : 0;
    sum += isDoubled ? 2 * digit / 10 + 2 * digit % 10 : digit;
    isDoubled = !isDoubled;
  }
  return sum % 10 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using kelm::IBANValidator;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const IBANValidator validator;
  const auto result = validator.validateElectronicIBAN(text);
  if (result != kelm::IBANValidationResultInvalid) {
    require(validator.validateIBAN(text) == result);
    require(IBANValidator::validateMod97(std::string(text.substr(4)) +
                                         std::string(text.substr(0, 4))) ==
            kelm::IBANValidationResultValid);
  }
  std::string grouped = kelm::ibanInGroups(text);
  require(validator.validateIBAN(grouped) == validator.validateIBAN(text));
  const std::int64_t remainder = kelm::SmartPaymentUtils::calculateMod97(text);
  require(remainder >= 0 && remainder < 97);
  require(kelm::KelmLuhnCheck().doLuhnCheckWithString(text) == plainLuhn(text));
  kelm::SmartPaymentUtils::isBankModulo11(text);
  kelm::SmartPaymentUtils::crc32(text);
  kelm::isRegisteredIban(text);
  kelm::isBic(text);
  return 0;
}
