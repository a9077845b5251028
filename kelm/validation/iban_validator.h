#pragma once

#include <bitset>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

enum IBANValidationResult : int {
  IBANValidationResultValid = 0,           ///< characters, length and check digits are right
  IBANValidationResultUnknownCountry = 1,  ///< the check digits are, but the country is not known
  IBANValidationResultInvalid = 2,
};

/// International Bank Account Numbers (ISO 13616): their characters, the length that their country
/// demands, and their check digits (ISO 7064 MOD 97-10). The 72 countries are those of a table that
/// is kept as it is; `bank_identifiers.h` has the lengths of today. Nothing is trimmed or put in
/// upper case. Without state; any thread may call.
class KELM_API IBANValidator {
 public:
  /// The UTF-16 code units that an electronic IBAN must not hold.
  using CharacterSet = std::bitset<0x10000>;

  /// `validateIBAN:` Without its blanks (U+0020); other white space is invalid, as is an absent
  /// text.
  IBANValidationResult validateIBAN(std::optional<std::string_view> iban) const;
  /// `validateElectronicIBAN:` As it is: 15 characters at least, ASCII digits and upper-case
  /// letters.
  IBANValidationResult validateElectronicIBAN(std::optional<std::string_view> iban) const;
  /// `validateMod97:` Valid when `SmartPaymentUtils::calculateMod97` of the text is 1, else
  /// invalid.
  static IBANValidationResult validateMod97(std::optional<std::string_view> text);
  /// `buildValidationCharSet`
  static CharacterSet buildValidationCharSet();
  /// `buildCountryTable` The length of an IBAN by its country.
  static std::map<std::string, int> buildCountryTable();
  /// `formattingISO3166FromIbanString:` Groups of four characters (UTF-16 code units), each with a
  /// blank behind; a shorter group at the end is left out. Empty below four characters. For an
  /// absent or empty text one line is logged as ERROR.
  std::string formattingISO3166FromIbanString(std::optional<std::string_view> iban) const;
};

}  // namespace kelm
