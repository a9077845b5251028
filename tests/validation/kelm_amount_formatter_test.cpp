#include "kelm/validation/formatting/kelm_amount_formatter.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <array>
#include <limits>
#include <string>
#include <tuple>

#include "kelm/base/error.h"
#include "tests/support/step_by_step.h"

namespace kelm {
namespace {

Decimal decimal(std::string_view text) { return Decimal::fromText(text).value(); }

/// A number's text or "nil".
std::string shown(const std::optional<Decimal>& number) { return number ? number->text() : "nil"; }

KelmAmountFormatter plain(std::string_view locale) {
  KelmAmountFormatter formatter;
  formatter.setLocale(locale);
  return formatter;
}
KelmAmountFormatter amounts(std::string_view locale) {
  KelmAmountFormatter formatter = KelmAmountFormatter::defaultFormatter();
  formatter.setLocale(locale);
  return formatter;
}

/// Makes a locale that of the user for a scope.
class UserLocale {
 public:
  explicit UserLocale(const char* name) { set(name); }
  ~UserLocale() { set(earlier_.getName()); }
  UserLocale(const UserLocale&) = delete;
  UserLocale& operator=(const UserLocale&) = delete;

 private:
  static void set(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(name), status);
  }

  const icu::Locale earlier_;
};

TEST(AmountFormatter, StartsWithTheSettingsOfItsMaker) {
  const UserLocale user("de_CH");
  const auto settings = [](const KelmAmountFormatter& f) {
    return std::tuple(f.locale(), f.isAmount(), f.currencySymbol(), f.minDecimalDigits(),
                      f.maxDecimalDigits(), f.maxIntegerDigits(), f.roundingPolicy());
  };
  EXPECT_EQ(settings(KelmAmountFormatter()),
            std::tuple("de_CH", false, std::nullopt, -1, -1, -1, 6U));
  KelmAmountFormatter changed = KelmAmountFormatter::defaultFormatter();
  EXPECT_EQ(settings(changed), std::tuple("de_CH", true, "", 2, 2, 7, 6U));
  changed.setIsAmount(false);
  changed.setCurrencySymbol(std::nullopt);
  EXPECT_TRUE(changed.isAmount());
  changed.setLocale("it_IT");
  changed.setLocale(std::nullopt);
  EXPECT_EQ(changed.locale(), "it_IT");
}

TEST(AmountFormatter, PrintsAmountsAndNumbersAsTheLocaleDoes) {
  using Row = std::array<const char*, 4>;  // locale; amount; number; editing
  for (const auto& [locale, amount, number, editing] :
       {Row{"en_US", "-1,234.50", "-1,234.5", "-1234.5"},
        Row{"it_IT", "-1.234,50", "-1.234,5", "-1234,5"},
        Row{"fr_FR", "-1\u202f234,50", "-1\u202f234,5", "-1234,5"},
        Row{"fr_CH", "-1\u202f234.50", "-1\u202f234,5", "-1234,5"},
        Row{"de_CH", "-1\u2019234.50", "-1\u2019234.5", "-1234.5"},
        Row{"pl_PL", "-1\u00a0234,50", "-1\u00a0234,5", "-1234,5"},
        Row{"en_US_POSIX", "-\u00a01234.50", "-1234.5", "-1234.5"},
        Row{"sv_SE", "\u22121\u00a0234,50", "\u22121\u00a0234,5", "\u22121234,5"},
        Row{"ar_EG", "\u061c-\u200f\u0661\u066c\u0662\u0663\u0664\u066b\u0665\u0660",
            "\u061c-\u0661\u066c\u0662\u0663\u0664\u066b\u0665",
            "\u061c-\u0661\u0662\u0663\u0664\u066b\u0665"}}) {
    EXPECT_EQ(amounts(locale).formattedStringWithNumber(decimal("-1234.5")), amount);
    EXPECT_EQ(plain(locale).formattedStringWithNumber(decimal("-1234.5")), number);
    EXPECT_EQ(plain(locale).editingNumberStringWithNumber(decimal("-1234.5")), editing);
  }
  EXPECT_EQ(plain("en_IN").formattedStringWithNumber(1234567), "12,34,567");
  EXPECT_EQ(amounts("it_IT").numberStringWithNumber(decimal("1234.5")), "1234.50");
  EXPECT_EQ(amounts("ar_EG").numberStringWithNumber(decimal("1234.5")),
            "\u0661\u0662\u0663\u0664.\u0665\u0660");
  EXPECT_EQ(amounts("en_US").formattedStringWithNumber(std::nullopt), "0.00");
}

TEST(AmountFormatter, AnEmptySymbolPrintsNothingAndTextsStandWithoutSeparator) {
  using Row = std::tuple<const char*, std::optional<std::string>, const char*>;
  for (const auto& [locale, symbol, text] :
       {Row{"en_US", "$", "$12.50"}, Row{"en_US", "EUR", "EUR\u00a012.50"},
        Row{"en_US", std::nullopt, "12.50"}, Row{"it_IT", "\u20ac", "12,50\u00a0\u20ac"},
        Row{"it_IT", std::nullopt, "12,50"}, Row{"ja_JP", "\u5186", "\u5186\u00a012.50"},
        Row{"he_IL", "", "\u200f12.50\u00a0\u200f"}}) {
    KelmAmountFormatter formatter = amounts(locale);
    formatter.setCurrencySymbol(symbol);
    EXPECT_EQ(formatter.formattedStringWithNumber(decimal("12.5")), text) << locale;
    formatter.setToPrependString("<");
    formatter.setToAppendString("> ");
    EXPECT_EQ(formatter.formattedStringWithNumber(decimal("12.5")), std::string("<") + text + "> ");
  }
}

TEST(AmountFormatter, ReadsWhatWasTypedOrRefusesIt) {
  // Read leniently by the default formatter, then strictly in decimal style.
  using Row = std::array<const char*, 4>;
  const Row rows[] = {
      // a point for cents; "," groups, and so does "." where it does: a hundred times as much
      Row{"en_US", "", "0", "0"}, Row{"en_US", "12.5", "12.5", "12.5"},
      Row{"en_US", "-12.50", "12.5", "-12.5"}, Row{"en_US", "$1,234.50", "1234.5", "nil"},
      Row{"en_US", "1,234.50", "1234.5", "1234.5"}, Row{"en_US", "1234,50", "123450", "nil"},
      Row{"en_US", "1.234,50", "nil", "nil"}, Row{"en_US", "12.345", "12.35", "12.345"},
      Row{"it_IT", "12,5", "12.5", "12.5"}, Row{"it_IT", "12.5", "nil", "12.5"},
      Row{"it_IT", "12.50", "1250", "12.5"}, Row{"it_IT", "12.345", "12345", "12345"},
      Row{"it_IT", "1.234,50 EUR", "1234.5", "nil"}, Row{"it_IT", "1234.50", "123450", "1234.5"},
      Row{"it_IT", "1.2.3", "nil", "nil"}, Row{"fr_FR", "1\u202f234,50", "1234.5", "1234.5"},
      Row{"fr_FR", "1234.50", "123450", "1234.5"},
      // leniently only 0-9 are kept
      Row{"ar_EG", "\u0661\u0662\u066b\u0665", "nil", "12.5"}, Row{"ar_EG", "12,5", "12.5", "12.5"},
      Row{"hi_IN", "\u0967\u0968", "nil", "12"},
      // modulo 10^7, letters, blanks, signs
      Row{"en_US", "12345678.99", "2345678.99", "12345678.99"}, Row{"en_US", "abc", "nil", "nil"},
      Row{"en_US", "12abc", "12", "nil"}, Row{"en_US", "12 ", "12", "nil"},
      Row{"en_US", " 12", "12", "nil"}, Row{"en_US", "+12", "12", "nil"},
      Row{"en_US", "1.2.3", "nil", "nil"}, Row{"en_US", "-0", "0", "0"},
      // exponents, of 1100000000 the last seven digits; no numbers; malformed bytes
      Row{"en_US", "1e5", "15", "nil"}, Row{"en_US", "1E100000000", "0", "nil"},
      Row{"sv_SE", "1\u00d710^5", "1105", "nil"}, Row{"en_US", "NaN", "nil", "nil"},
      Row{"en_US", "\u221e", "nil", "nil"}, Row{"en_US", "12%", "12", "nil"},
      Row{"en_US", ".", "nil", "nil"}, Row{"en_US", "\xff\x31", "1", "nil"},
      Row{"en_US", "\xed\xa0\x80\x31", "1", "nil"}};
  for (const auto& [locale, text, formatted, editing] : rows) {
    EXPECT_EQ(shown(amounts(locale).numberWithFormattedString(text)), formatted)
        << locale << ' ' << text;
    EXPECT_EQ(shown(plain(locale).numberWithEditingNumberString(text)), editing)
        << locale << ' ' << text;
  }
  EXPECT_EQ(amounts("en_US").numberWithFormattedString(std::nullopt), Decimal());
  EXPECT_EQ(plain("en_US").numberWithEditingNumberString(std::string_view("1\0", 2)), std::nullopt);
}

TEST(AmountFormatter, TakesItsOwnTextsOutInOrderBeforeReading) {
  KelmAmountFormatter formatter = amounts("en_US");
  formatter.setCurrencySymbol("5.");
  formatter.setToAppendString("77");
  formatter.setToPrependString("9");
  EXPECT_EQ(shown(formatter.numberWithFormattedString("9 125.34 9775.")), "1234");
  EXPECT_EQ(shown(formatter.numberWithFormattedString("75.7 1")), "1");  // "77" appears, and goes
}

TEST(AmountFormatter, ReadsNumberStringsWithEitherSeparator) {
  using Row = std::pair<const char*, const char*>;
  for (const auto& [text, number] :
       {Row{"", "0"}, Row{"1,5", "1.5"}, Row{"-1234.50", "-1234.5"}, Row{".5", "0.5"},
        Row{"007", "7"}, Row{"\u22125", "-5"}, Row{"\u0661\u0662.\u0665", "12.5"},
        Row{"99999999999999999999999999999999999999",
            "9.9999999999999999999999999999999999999e+37"}})
    EXPECT_EQ(shown(KelmAmountFormatter::numberWithNumberString(text)), number) << text;
  for (const char* wrong :
       {"1,234.5", "1 ", "1e5", "12x", "-", "Infinity", "100000000000000000000000000000000000001"})
    EXPECT_EQ(KelmAmountFormatter::numberWithNumberString(wrong), std::nullopt) << wrong;
  EXPECT_EQ(KelmAmountFormatter::numberWithNumberString(std::nullopt), Decimal());
}

TEST(AmountFormatter, ConversionsReadThenPrint) {
  const KelmAmountFormatter formatter = amounts("it_IT");
  EXPECT_EQ(formatter.editingNumberStringWithFormattedString("1.234,5 \u20ac"), "1234,50");
  EXPECT_EQ(formatter.numberStringWithFormattedString("1.234,5"), "1234.50");
  EXPECT_EQ(formatter.formattedStringWithEditingNumberString("-1234,5"), "-1.234,50");
  EXPECT_EQ(formatter.numberStringWithEditingNumberString("12.5"), "12.50");
  EXPECT_EQ(formatter.numberStringWithEditingNumberString("abc"), "0.00");
}

TEST(AmountFormatter, RoundsAndPads) {
  const char* const halves[] = {"3", "2", "2", "3", "2", "2", "3"};
  for (std::uint64_t policy = 0; policy <= 6; ++policy) {
    KelmAmountFormatter formatter = plain("en_US");
    formatter.setMaxDecimalDigits(0);
    formatter.setRoundingPolicy(policy);
    EXPECT_EQ(shown(formatter.consolidateRoundingNumber(decimal("2.5"))), halves[policy]);
  }
  KelmAmountFormatter formatter = amounts("en_US");
  EXPECT_EQ(shown(formatter.consolidateRoundingNumber(decimal("1.005"))), "1.01");
  EXPECT_EQ(shown(formatter.consolidateRoundingNumber(decimal("9999999.995"))), "0");
  EXPECT_EQ(formatter.consolidateRoundingNumber(std::nullopt), std::nullopt);

  using Row = std::pair<const char*, const char*>;
  for (const auto& [text, decimals] :
       {Row{"12", "00"}, Row{"12.5", "50"}, Row{"12.345", "345"}, Row{"12..5", "00"}})
    EXPECT_EQ(formatter.decimalPartFromNumberString(text), decimals);
  EXPECT_EQ(formatter.normalizeToProperNumberOfDecimalDigits("\U0001F600"), "\U0001F600");
  EXPECT_THROW(plain("en_US").normalizeToProperNumberOfDecimalDigits("1"), Exception);
}

TEST(AmountFormatter, RoundNumberReadsAPointAndPrintsForTheUser) {
  const UserLocale user("it_IT");
  const auto round = [](std::string_view text, std::int32_t scale, std::uint64_t mode) {
    return KelmAmountFormatter::roundNumber_withScale_andRoundingMode(text, scale, mode);
  };
  EXPECT_EQ(round("1234.565", 2, 6), "1.234,57");
  EXPECT_EQ(round("1234.565", 2, 5), "1.234,56");
  EXPECT_EQ(round("-1.5", 0, 0), "-1");
  EXPECT_EQ(round("1.23456", -1, 6), "1,235");
  EXPECT_FALSE(round("1,5", 2, 6) || round("", 2, 6));
}

TEST(AmountFormatter, PrintsWhatAFormatterSetStepByStepPrints) {
  const Decimal numbers[] = {0, decimal("-0.4"), decimal("0.995"), decimal("-1234567.125"),
                             decimal("99999999.5"),
                             // far from it
                             decimal("1e-20"), decimal("12e30")};
  KelmAmountFormatter formatter;
  for (const char* locale :
       {"en_US", "it_IT", "fr_CH", "ar_EG", "hi_IN", "ja_JP", "kw_GB", "es_ES"})
    for (const char* symbol : {"-", "", "\u20ac", "kr"})
      for (const std::int32_t least : {-1, 4})
        for (const std::int32_t most : {-1, 0, 2})
          for (const std::int32_t integers : {-1, 0, 7})
            for (const std::uint64_t policy : {1U, 6U}) {
              formatter.setLocale(locale);
              formatter.setCurrencySymbol(symbol);
              formatter.setIsAmount(symbol[0] != '-');
              formatter.setMinDecimalDigits(least);
              formatter.setMaxDecimalDigits(most);
              formatter.setMaxIntegerDigits(integers);
              formatter.setRoundingPolicy(policy);
              for (const Decimal& number : numbers)
                ASSERT_EQ(formatter.formattedStringWithNumber(number),
                          testing::amountPrintedStepByStep(formatter, number))
                    << locale << ' ' << symbol;
            }
}

TEST(AmountFormatter, ReadsWhatAFormatterSetStepByStepReads) {
  for (const char* locale : {"en_US", "it_IT", "fr_CH", "ar_EG", "pl_PL"})
    for (const char* symbol : {"-", "", "\u20ac"}) {
      KelmAmountFormatter formatter = amounts(locale);
      formatter.setCurrencySymbol(symbol);
      formatter.setIsAmount(symbol[0] != '-');
      for (const char* text : {"1", "1.5", "1,5", "1,234.5", "1.234,5", "1,2,3", ".5", "5.", ",5",
                               "1..5", "1,,5", "12345678901234567890", "0.005", "1.2.3,4", "."})
        EXPECT_EQ(shown(formatter.numberWithFormattedString(text)),
                  shown(testing::amountReadStepByStep(formatter, text)))
            << locale << ' ' << symbol << ' ' << text;
    }
}

TEST(AmountFormatter, HostileTextsAndSettingsCostLittle) {
  KelmAmountFormatter formatter = plain("en_US");
  const std::string many(1000000, '7');
  EXPECT_EQ(formatter.numberWithFormattedString(many), std::nullopt);
  EXPECT_EQ(formatter.numberWithEditingNumberString(many), std::nullopt);
  EXPECT_EQ(formatter.numberWithFormattedString(std::string(4000, ',') + "5."), std::nullopt);
  EXPECT_EQ(shown(formatter.numberWithFormattedString(std::string(1000000, 'x') + "5")), "5");

  constexpr auto kMost = std::numeric_limits<std::int32_t>::max();
  formatter.setMinDecimalDigits(kMost);
  EXPECT_EQ(formatter.formattedStringWithNumber(1), "1." + std::string(999, '0'));
  EXPECT_EQ(shown(formatter.consolidateRoundingNumber(1)), "1");
  formatter.setMaxIntegerDigits(kMost);
  formatter.setRoundingPolicy(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(shown(formatter.consolidateRoundingNumber(decimal("1e164"))), "1e+164");
  for (const char* locale :
       {"", "xx_YY", "zh@numbers=hant", "la@numbers=roman", "@@@", "\xff\xfe"}) {
    formatter.setLocale(locale);
    EXPECT_EQ(shown(formatter.consolidateRoundingNumber(decimal("12.5"))), "12.5") << locale;
  }
  formatter.setLocale(std::string(100000, 'a'));
  EXPECT_EQ(shown(formatter.consolidateRoundingNumber(decimal("12.5"))), "12.5");
}

}  // namespace
}  // namespace kelm
