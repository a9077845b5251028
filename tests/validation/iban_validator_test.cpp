#include "kelm/validation/iban_validator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "kelm/validation/bank_identifiers.h"
#include "kelm/validation/smart_payment_utils.h"
#include "tests/support/log_capture.h"
#include "tests/support/test_platform.h"

namespace kelm::test {
namespace {

TEST(IBANValidator, BlanksAloneArePassedOverAndEachCountryHasItsLength) {
  const struct {
    std::string_view iban;
    int withBlanks;
    int electronic;
  } kCases[] = {
      {"GB82 WEST 1234 5698 7654 32", 0, 2},
      {"GB82WEST12345698765432", 0, 0},
      {" NO9386011117947", 0, 2},
      {"NO9386011117947", 0, 0},
      {"IT60X0542811101000000123456", 0, 0},
      {"GB82WEST12345698765433", 2, 2},    // a digit
      {"gb82west12345698765432", 2, 2},    // lower case
      {"GB82\tWEST12345698765432", 2, 2},  // not U+0020
      {"GB82WEST123456987654320", 2, 2},   // not 22 characters
      {"XK051212012345678906", 1, 1},      // right digits, no country of the table
      {"XK061212012345678906", 2, 2},
      {"CR05015202001026284066", 2, 2},  // of 22 characters; the table says 21
      {"NO938601111794", 2, 2},
      {"\xC3\x89 0000000000000000", 2, 2},
      {"", 2, 2},
  };
  for (const auto& [iban, withBlanks, electronic] : kCases) {
    EXPECT_EQ(IBANValidator().validateIBAN(iban), withBlanks) << iban;
    EXPECT_EQ(IBANValidator().validateElectronicIBAN(iban), electronic) << iban;
  }
  EXPECT_EQ(IBANValidator().validateIBAN(std::nullopt), 2);
  EXPECT_EQ(IBANValidator().validateIBAN(std::string(1'000'000, '7')), 2);
}

TEST(IBANValidator, TableHasSeventyTwoCountriesAndTheSetThirtySixExceptions) {
  const auto table = IBANValidator::buildCountryTable();
  EXPECT_EQ(table.size(), 72U);
  EXPECT_EQ(table.at("CR"), 21);
  EXPECT_EQ(table.at("BI"), 16);
  EXPECT_EQ(table.at("MT"), 31);
  const auto refused = IBANValidator::buildValidationCharSet();
  EXPECT_EQ(refused.size() - refused.count(), 36U);
  EXPECT_FALSE(refused['0'] || refused['Z']);
  EXPECT_TRUE(refused[' '] && refused['a'] && refused[0xFF10]);
}

TEST(IBANValidator, GroupsOfFourDropTheShorterOneAtTheEnd) {
  const TestPlatform services;
  const TestScope scope(services);
  LogCapture log;
  const IBANValidator validator;
  EXPECT_EQ(validator.formattingISO3166FromIbanString("GB82WEST12345698765432"),
            "GB82 WEST 1234 5698 7654 ");
  EXPECT_EQ(validator.formattingISO3166FromIbanString("ABCD"), "ABCD ");
  EXPECT_EQ(validator.formattingISO3166FromIbanString("ABC"), "");
  EXPECT_EQ(validator.formattingISO3166FromIbanString("ab\xF0\x9F\x92\xB6zz"),
            "ab\xF0\x9F\x92\xB6 ");
  EXPECT_THAT(log.lines(), testing::IsEmpty());
  EXPECT_EQ(validator.formattingISO3166FromIbanString(""), "");
  EXPECT_EQ(validator.formattingISO3166FromIbanString(std::nullopt), "");
  const std::string line = "ERROR Iban to format is Nil or lenght == 0";
  EXPECT_THAT(log.lines(), testing::ElementsAre(line, line));
}

TEST(SmartPaymentUtils, Mod97IsThatOfTheStreamThatWraps) {
  // Two divisions a step, for texts of the Basic Multilingual Plane.
  const auto stepwise = [](std::u16string_view text) {
    std::uint64_t sum = 0;
    std::uint64_t result = 0;
    for (const char16_t c : text) {
      const std::uint32_t digit = static_cast<std::uint32_t>(c) - 48;
      const std::uint64_t value =
          digit < 10 ? digit
                     : static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(c) - 55});
      sum = sum * (value < 10 ? 10 : 100) + value;
      result = sum % 97;
      if (sum > 42949671) sum = result;
    }
    return static_cast<std::int64_t>(result);
  };
  const std::pair<std::string_view, std::u16string_view> kTexts[] = {
      {"", u""},
      {"WEST12345698765432GB82", u"WEST12345698765432GB82"},
      {"99999999999999999999999999999999999999", u"99999999999999999999999999999999999999"},
      {"ZZZZZZZZZZZZZZZZZZZZZZZZZZZZ", u"ZZZZZZZZZZZZZZZZZZZZZZZZZZZZ"},
      {"   ", u"   "},  // negative values
      {"1-2:3@4~a", u"1-2:3@4~a"},
      {"4294967 4294967", u"4294967 4294967"},
      {"\xC3\xA9\xE2\x82\xAC"
       "99",
       u"\u00E9\u20AC99"},
      {"\xE2\x82"
       "99",
       u"\uFFFD\uFFFD99"},  // one unit a malformed byte
  };
  for (const auto& [text, units] : kTexts)
    EXPECT_EQ(SmartPaymentUtils::calculateMod97(text), stepwise(units)) << text;
  EXPECT_EQ(SmartPaymentUtils::calculateMod97("WEST12345698765432GB82"), 1);
  EXPECT_EQ(SmartPaymentUtils::calculateMod97(std::nullopt), 0);
}

TEST(SmartPaymentUtils, BankDigitsAreWeightedFromTheLastToTheSecond) {
  const std::pair<std::string_view, bool> kCases[] = {
      {"X0", true},
      {"5", false},
      {"", false},
      {"0A", false},
      {"01", false},
      {"?51", true},
      {"?15", false},  // 1 + 2 * 5; 5 + 2 * 1
      {"9701", false},
      {"0203", true},  // 3 + 2 * 0 + 4 * 2
      {"\xF0\x9F\x92\xB6"
       "0",
       false},  // the second unit is no digit
  };
  for (const auto& [text, expected] : kCases)
    EXPECT_EQ(SmartPaymentUtils::isBankModulo11(text), expected) << text;
}

TEST(SmartPaymentUtils, Crc32StopsAtTheFirstNul) {
  EXPECT_EQ(SmartPaymentUtils::crc32("123456789"), "CBF43926");
  EXPECT_EQ(SmartPaymentUtils::crc32(std::string_view("123456789\0x", 11)), "CBF43926");
  EXPECT_EQ(SmartPaymentUtils::crc32(""), "00000000");
  EXPECT_EQ(SmartPaymentUtils::crc32(std::nullopt), "00000000");
}

TEST(BankIdentifiers, TodaysLengthsGroupsAndShapes) {
  EXPECT_EQ(registeredIbanLength("CR"), 22U);
  EXPECT_EQ(registeredIbanLength("XK"), 20U);
  EXPECT_EQ(registeredIbanLength("US"), std::nullopt);
  EXPECT_EQ(registeredIbanLength("I"), std::nullopt);
  EXPECT_TRUE(isRegisteredIban("CR05 0152 0200 1026 2840 66"));
  EXPECT_TRUE(isRegisteredIban("XK051212012345678906"));
  for (const auto* const bad : {"CR05 0152 0200 1026 2840 67", "GB82WEST1234569876543", "", "GB"})
    EXPECT_FALSE(isRegisteredIban(bad)) << bad;
  EXPECT_EQ(ibanInGroups("GB82WEST123 45698765432"), "GB82 WEST 1234 5698 7654 32");
  EXPECT_EQ(ibanInGroups("ABC\xC3\xA9\xC3\xA9"), "ABC\xC3\xA9 \xC3\xA9");  // no character is cut
  for (const auto* const good : {"DEUTDEFF", "UNCRITMM", "BCITITMM7XX", "1234DEFF"})
    EXPECT_TRUE(isBic(good)) << good;
  for (const auto* const bad : {"DEUTDEF", "deutdeff", "DEUTD3FF", "DEUTDEFF50", ""})
    EXPECT_FALSE(isBic(bad)) << bad;
}

}  // namespace
}  // namespace kelm::test
