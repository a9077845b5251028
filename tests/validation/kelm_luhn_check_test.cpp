#include "kelm/validation/kelm_luhn_check.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

#include "kelm/base/error.h"

namespace kelm::testing {
namespace {

TEST(KelmLuhnCheck, CheckDigitMayStandAnywhere) {
  using Row = std::tuple<std::string_view, std::int32_t, bool>;
  const Row rows[] = {
      Row{"79927398713", -1, true}, Row{"79927398710", -1, false}, Row{"37992739871", 0, true},
      Row{"79927398731", -2, true}, Row{"4111111111111111", -1, true}, Row{"0000", -1, true},
      // positions outside: as it is; hyphens are positions; no digits at all
      Row{"79927398713", 11, true}, Row{"79927398713", -12, true},
      Row{"4111-1111-1111-1111", -1, false}, Row{"", -1, true}, Row{"A", -1, true},
      Row{"\xD9\xA1", -1, true},
      // a pair is two positions, a malformed byte one, which takes nothing from the digit before it
      Row{"1\U0001F4B6\x38", -1, true}, Row{"5\U0001F4B6\x80\x35", -1, true},
      Row{"1\x80\x39", -1, true}};
  for (const auto& [text, position, passes] : rows)
    EXPECT_EQ(KelmLuhnCheck().doLuhnCheckWithString_checksumPosition(text, position), passes)
        << text << " at " << position;
  EXPECT_TRUE(KelmLuhnCheck().doLuhnCheckWithString(std::nullopt));
  EXPECT_TRUE(KelmLuhnCheck().doLuhnCheckWithString(std::string(1'000'000, '0')));
}

TEST(KelmLuhnCheck, PositionsAreUtf16Units) {
  const KelmLuhnCheck check;
  EXPECT_EQ(check.repositionChecksumDigitWithString_checksumPosition("37\u00E9", 1), "3\u00E9\x37");
  EXPECT_EQ(check.repositionChecksumDigitWithString_checksumPosition("37", 2), "37");
  EXPECT_EQ(check.repositionChecksumDigitWithString_checksumPosition(std::nullopt, 0),
            std::nullopt);
  EXPECT_EQ(check.toCharArrayFromString("a\U0001F4B6"),
            (std::vector<std::string>{"a", "\uFFFD", "\uFFFD"}));
  EXPECT_THROW(check.deleteCharInString_atPosition("37", 2), Exception);
}

TEST(KelmLuhnCheckDeathTest, NoDigitIsMadeUp) {
  const KelmLuhnCheck check;
  EXPECT_FALSE(check.doLuhnModNCheckWithString_checksumPosition(std::nullopt, 0));
  EXPECT_FALSE(check.doLuhnModNCheckWithString_checksumPosition("37", 3));
  EXPECT_FALSE(check.doLuhnModNCheckWithString_checksumPosition("37", -1));
  EXPECT_THROW(check.doLuhnModNCheckWithString_checksumPosition("37", 2), Exception);
  EXPECT_THROW(check.getLuhnChecksumDigitWith("37"), Exception);
  EXPECT_THROW(check.getLuhnChecksumDigitWith(std::nullopt), Exception);
  EXPECT_DEATH(check.doLuhnModNCheckWithString_checksumPosition("37", 1), "");
  EXPECT_DEATH(check.generateCheckDigit("37"), "");
}

}  // namespace
}  // namespace kelm::testing
