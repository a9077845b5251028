// link: kelm_validation
// Account and card numbers: the quick forms agree with the plain ones, whatever the text.

#include <string>

#include "fuzz/support/target.h"
#include "kelm/validation/bank_identifiers.h"
#include "kelm/validation/iban_validator.h"
#include "kelm/validation/kelm_luhn_check.h"
#include "kelm/validation/smart_payment_utils.h"

namespace kelm::fuzz {

static bool plainLuhn(std::string_view text) {
  const auto characters = KelmLuhnCheck().toCharArrayFromString(text);
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

void run(DataView input) {
  const std::string_view text = textOf(input);
  const IBANValidator validator;
  const auto result = validator.validateElectronicIBAN(text);
  if (result != IBANValidationResultInvalid) {
    require(validator.validateIBAN(text) == result);
    require(IBANValidator::validateMod97(std::string(text.substr(4)) +
                                         std::string(text.substr(0, 4))) ==
            IBANValidationResultValid);
  }
  std::string grouped = ibanInGroups(text);
  require(validator.validateIBAN(grouped) == validator.validateIBAN(text));
  const std::int64_t remainder = SmartPaymentUtils::calculateMod97(text);
  require(remainder >= 0 && remainder < 97);
  require(KelmLuhnCheck().doLuhnCheckWithString(text) == plainLuhn(text));
  SmartPaymentUtils::isBankModulo11(text);
  SmartPaymentUtils::crc32(text);
  isRegisteredIban(text);
  isBic(text);
}

}  // namespace kelm::fuzz
