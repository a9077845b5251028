// link: kelm_formatting ICU::uc ICU::i18n
// Two bytes of settings, then what someone typed: reading never gives a number that does not print
// and read back, agrees with a formatter that is set step by step, and costs little.

#include "fuzz/support/target.h"
#include "kelm/validation/formatting/kelm_amount_formatter.h"
#include "tests/support/step_by_step.h"

namespace kelm::fuzz {
namespace {

KelmAmountFormatter formatterOf(std::uint8_t first, std::uint8_t second) {
  constexpr const char* kLocales[] = {"en_US", "it_IT", "fr_CH", "ar_EG",
                                      "pl_PL", "hi_IN", "sv_SE", "de_CH"};
  constexpr const char* kSymbols[] = {"", "\u20ac", "kr", "1."};
  KelmAmountFormatter formatter;
  formatter.setLocale(kLocales[first % 8]);
  formatter.setCurrencySymbol(kSymbols[first / 8 % 4]);
  formatter.setIsAmount(first / 32 % 2 == 1);
  formatter.setRoundingPolicy(first / 64 + 3);
  formatter.setMinDecimalDigits(second % 4 - 1);
  formatter.setMaxDecimalDigits(second / 4 % 8 - 1);
  formatter.setMaxIntegerDigits(second / 32 * 5 - 1);
  return formatter;
}

void checkNumber(const KelmAmountFormatter& formatter, const Decimal& number) {
  require(Decimal::fromText(number.text()) == number);
  // Rounded and cut once, a number stays.
  require(formatter.consolidateRoundingNumber(number) == number);
  require(formatter.formattedStringWithNumber(number) ==
          testing::amountPrintedStepByStep(formatter, number));
  require(formatter.numberWithEditingNumberString(
              formatter.editingNumberStringWithNumber(number)) == number);
}

}  // namespace

void run(DataView input) {
  if (input.size() < 2) return;
  const KelmAmountFormatter formatter = formatterOf(input[0], input[1]);
  const std::string_view text = textOf(input.subspan(2));
  if (const auto number = Decimal::fromText(text)) {
    require(Decimal::fromText(number->text()) == number);
    const auto rounded = formatter.consolidateRoundingNumber(number);
    if (rounded) checkNumber(formatter, *rounded);
  }
  if (const auto number = formatter.numberWithEditingNumberString(text))
    checkNumber(formatter, *number);
  if (const auto number = KelmAmountFormatter::numberWithNumberString(text))
    require(Decimal::fromText(number->text()) == number);
  const auto number = formatter.numberWithFormattedString(text);
  if (number) {
    require(!number->isNegative());
    checkNumber(formatter, *number);
  }
  if (text.size() < 98 && !text.empty() &&
      text.find_first_not_of("1234567890.,") == std::string_view::npos &&
      (formatter.currencySymbol()->empty() || text.find("1.") == std::string_view::npos))
    require(number == testing::amountReadStepByStep(formatter, text));
}

}  // namespace kelm::fuzz
