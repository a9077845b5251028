#include "kelm/validation/iban_validator.h"

#include <array>
#include <cstdint>

#include "kelm/base/utf16.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/validation/icu_text.h"
#include "kelm/validation/mod97.h"
#include "kelm/validation/smart_payment_utils.h"

namespace kelm {

namespace {

constexpr std::size_t kShortest = 15;
constexpr std::size_t kPrefix = 4;  // country and check digits
constexpr std::int32_t kGroup = 4;

struct Length {
  std::uint8_t length;
  std::string_view countries;  ///< two letters each, a blank between them
};
constexpr Length kLengths[] = {
    {15, "NO"},
    {16, "BE BI"},
    {18, "DK FO FI GL NL"},
    {19, "MK SI"},
    {20, "AT BA EE KZ LT LU"},
    {21, "CR HR LV LI CH"},
    {22, "BH BG GE DE IE ME RS GB"},
    {23, "GI IL AE"},
    {24, "AD CZ MD PK RO SA SK ES SE TN VG"},
    {25, "PT AO CV MZ"},
    {26, "IS TR IR"},
    {27, "FR GR IT MR MC SM CM MG"},
    {28, "AL AZ CY DO GT HU LB PL CI ML"},
    {29, "PS"},
    {30, "KW MU"},
    {31, "MT"},
};

template <class Take>
constexpr void forEachCountry(Take take) {
  for (const Length& row : kLengths)
    for (std::size_t at = 0; at < row.countries.size(); at += 3)
      take(row.countries.substr(at, 2), row.length);
}

constexpr std::size_t letterPair(char first, char second) {
  return static_cast<std::size_t>(first - 'A') * 26 + static_cast<std::size_t>(second - 'A');
}

/// By the pair of letters; 0 where the country is not known.
constexpr auto kLengthOfCountry = [] {
  std::array<std::uint8_t, 26 * 26> lengths{};
  forEachCountry([&](std::string_view country, std::uint8_t length) {
    lengths[letterPair(country[0], country[1])] = length;
  });
  return lengths;
}();

std::size_t lengthOfCountry(char first, char second) {
  const bool areLetters = first >= 'A' && first <= 'Z' && second >= 'A' && second <= 'Z';
  return areLetters ? kLengthOfCountry[letterPair(first, second)] : 0;
}

/// The outcome for a text of which all blanks are passed over, if `skipsBlanks`; in one pass, with
/// nothing copied but the first four characters.
IBANValidationResult validate(std::string_view iban, bool skipsBlanks) {
  std::array<char, kPrefix> prefix{};
  std::size_t length = 0;
  Mod97 sum;
  for (const char c : iban) {
    if (c == ' ' && skipsBlanks) continue;
    const std::uint8_t value = kIbanValues[static_cast<std::uint8_t>(c)];
    if (value == kNoIbanCharacter) return IBANValidationResultInvalid;
    if (length < kPrefix)
      prefix[length] = c;
    else
      sum.append(value);
    ++length;
  }
  if (length < kShortest) return IBANValidationResultInvalid;
  const std::size_t demanded = lengthOfCountry(prefix[0], prefix[1]);
  if (demanded != 0 && demanded != length) return IBANValidationResultInvalid;
  for (const char c : prefix)
    sum.append(kIbanValues[static_cast<std::uint8_t>(c)]);
  if (sum.remainder() != 1) return IBANValidationResultInvalid;
  return demanded != 0 ? IBANValidationResultValid : IBANValidationResultUnknownCountry;
}

}  // namespace

IBANValidationResult IBANValidator::validateIBAN(std::optional<std::string_view> iban) const {
  return validate(iban.value_or(std::string_view()), true);
}

IBANValidationResult IBANValidator::validateElectronicIBAN(
    std::optional<std::string_view> iban) const {
  return validate(iban.value_or(std::string_view()), false);
}

IBANValidationResult IBANValidator::validateMod97(std::optional<std::string_view> text) {
  return SmartPaymentUtils::calculateMod97(text) == 1 ? IBANValidationResultValid
                                                      : IBANValidationResultInvalid;
}

IBANValidator::CharacterSet IBANValidator::buildValidationCharSet() {
  CharacterSet refused;
  refused.set();
  for (const char c : std::string_view("01234567890ABCDEFGHIJKLMNOPQRSTUVWXYZ"))
    refused.reset(static_cast<std::uint8_t>(c));
  return refused;
}

std::map<std::string, int> IBANValidator::buildCountryTable() {
  std::map<std::string, int> table;
  forEachCountry(
      [&](std::string_view country, std::uint8_t length) { table.emplace(country, length); });
  return table;
}

std::string IBANValidator::formattingISO3166FromIbanString(
    std::optional<std::string_view> iban) const {
  if (!iban || iban->empty()) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kError, log_aspect::kFrontend | log_aspect::kParamRes,
        "-[IBANValidator formattingISO3166FromIbanString:]",
        "Iban to format is Nil or lenght == 0");
    return "";
  }
  const icu::UnicodeString units = icuText(repairedUtf8(*iban));
  icu::UnicodeString groups;
  for (std::int32_t at = 0; at + kGroup <= units.length(); at += kGroup)
    groups.append(units, at, kGroup).append(u' ');
  return utf8Text(groups);
}

}  // namespace kelm
