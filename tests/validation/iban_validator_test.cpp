#include "kelm/validation/iban_validator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>

#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"
#include "kelm/validation/bank_identifiers.h"
#include "kelm/validation/smart_payment_utils.h"

namespace kelm::testing {
namespace {

TEST(IBANValidator, BlanksAloneArePassedOverAndEachCountryHasItsLength) {
  using Row = std::tuple<std::string_view, int, int>;
  const Row rows[] = {
      // valid
      Row{"GB82 WEST 1234 5698 7654 32", 0, 2}, Row{"GB82WEST12345698765432", 0, 0},
      Row{" NO9386011117947", 0, 2}, Row{"IT60X0542811101000000123456", 0, 0},
      // another digit, lower case, not U+0020, not 22 characters
      Row{"GB82WEST12345698765433", 2, 2}, Row{"gb82west12345698765432", 2, 2},
      Row{"GB82\tWEST12345698765432", 2, 2}, Row{"GB82WEST123456987654320", 2, 2},
      // right digits but no country of the table, then wrong ones; 22 characters for the table's 21
      Row{"XK051212012345678906", 1, 1}, Row{"XK061212012345678906", 2, 2},
      Row{"CR05015202001026284066", 2, 2}, Row{"NO938601111794", 2, 2},
      Row{"\xC3\x89 0000000000000000", 2, 2}, Row{"", 2, 2}};
  for (const auto& [iban, withBlanks, electronic] : rows) {
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
  const LogCapture log;
  const auto grouped = [](std::optional<std::string_view> iban) {
    return IBANValidator().formattingISO3166FromIbanString(iban);
  };
  EXPECT_EQ(grouped("GB82WEST12345698765432"), "GB82 WEST 1234 5698 7654 ");
  EXPECT_EQ(grouped("ABCD"), "ABCD ");
  EXPECT_EQ(grouped("ABC"), "");
  EXPECT_EQ(grouped("ab\xF0\x9F\x92\xB6zz"), "ab\xF0\x9F\x92\xB6 ");
  EXPECT_THAT(log.lines(), ::testing::IsEmpty());
  EXPECT_EQ(grouped("") + grouped(std::nullopt), "");
  const std::string line = "ERROR Iban to format is Nil or lenght == 0";
  EXPECT_THAT(log.lines(), ::testing::ElementsAre(line, line));
}

TEST(SmartPaymentUtils, Mod97IsThatOfTheStreamThatWraps) {
  // Two divisions a step, for texts of the Basic Multilingual Plane.
  const auto stepwise = [](std::u16string_view text) {
    std::uint64_t sum = 0;
    std::uint64_t result = 0;
    for (const char16_t c : text) {
      const bool isDigit = c >= u'0' && c <= u'9';
      const auto value = static_cast<std::uint64_t>(std::int64_t{c} - (isDigit ? 48 : 55));
      sum = sum * (value < 10 ? 10 : 100) + value;
      result = sum % 97;
      if (sum > 42949671) sum = result;
    }
    return static_cast<std::int64_t>(result);
  };
  using Row = std::pair<std::string_view, std::u16string_view>;
  for (const auto& [text, units] :
       {Row{"", u""}, Row{"WEST12345698765432GB82", u"WEST12345698765432GB82"},
        Row{"99999999999999999999999999999999", u"99999999999999999999999999999999"},
        Row{"ZZZZZZZZZZZZZZZZZZZZZZZZZZZZ", u"ZZZZZZZZZZZZZZZZZZZZZZZZZZZZ"},
        Row{"   ", u"   "},  // negative values
        Row{"1-2:3@4~a", u"1-2:3@4~a"}, Row{"4294967 4294967", u"4294967 4294967"},
        Row{"\u00E9\u20AC99", u"\u00E9\u20AC99"},
        Row{"\xE2\x82\x39\x39", u"\uFFFD\uFFFD99"}})  // one unit a malformed byte
    EXPECT_EQ(SmartPaymentUtils::calculateMod97(text), stepwise(units)) << text;
  EXPECT_EQ(SmartPaymentUtils::calculateMod97("WEST12345698765432GB82"), 1);
  EXPECT_EQ(SmartPaymentUtils::calculateMod97(std::nullopt), 0);
}

TEST(SmartPaymentUtils, BankDigitsAreWeightedFromTheLastToTheSecond) {
  for (const char* right : {"X0", "?51", "0203"})  // 1 + 2 * 5; 3 + 2 * 0 + 4 * 2
    EXPECT_TRUE(SmartPaymentUtils::isBankModulo11(right)) << right;
  for (const char* wrong : {"5", "", "0A", "01", "?15", "9701", "\U0001F4B6\x30"})
    EXPECT_FALSE(SmartPaymentUtils::isBankModulo11(wrong)) << wrong;
}

TEST(SmartPaymentUtils, Crc32StopsAtTheFirstNul) {
  EXPECT_EQ(SmartPaymentUtils::crc32("123456789"), "CBF43926");
  EXPECT_EQ(SmartPaymentUtils::crc32(std::string_view("123456789\0x", 11)), "CBF43926");
  EXPECT_EQ(SmartPaymentUtils::crc32(std::nullopt), "00000000");
}

TEST(BankIdentifiers, TodaysLengthsGroupsAndShapes) {
  EXPECT_EQ(registeredIbanLength("CR"), 22U);
  EXPECT_EQ(registeredIbanLength("XK"), 20U);
  EXPECT_EQ(registeredIbanLength("US"), std::nullopt);
  EXPECT_EQ(registeredIbanLength("I"), std::nullopt);
  EXPECT_TRUE(isRegisteredIban("CR05 0152 0200 1026 2840 66"));
  EXPECT_TRUE(isRegisteredIban("XK051212012345678906"));
  for (const auto* const bad :
       {"CR05 0152 0200 1026 2840 67", "GB82WEST1234569876543", "", "GB", "DE00370400440532013050",
        "DE01370400440532013032", "DE99370400440532013014"})
    EXPECT_FALSE(isRegisteredIban(bad)) << bad;
  EXPECT_EQ(ibanInGroups("GB82WEST123 45698765432"), "GB82 WEST 1234 5698 7654 32");
  EXPECT_EQ(ibanInGroups("ABC\xC3\xA9\xC3\xA9"), "ABC\xC3\xA9 \xC3\xA9");  // no character is cut
  for (const auto* const good : {"DEUTDEFF", "UNCRITMM", "BCITITMM7XX", "1234DEFF"})
    EXPECT_TRUE(isBic(good)) << good;
  for (const auto* const bad : {"DEUTDEF", "deutdeff", "DEUTD3FF", "DEUTDEFF50", ""})
    EXPECT_FALSE(isBic(bad)) << bad;
}

}  // namespace
}  // namespace kelm::testing
