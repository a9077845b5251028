#include "kelm/validation/kelm_luhn_check.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kelm/base/error.h"

namespace kelm::test {
namespace {

TEST(KelmLuhnCheck, CheckDigitMayStandAnywhere) {
  const struct {
    std::string_view text;
    std::int32_t position;
    bool passes;
  } kCases[] = {
      {"79927398713", -1, true},
      {"79927398710", -1, false},
      {"37992739871", 0, true},
      {"79927398731", -2, true},
      {"79927398713", 11, true},   // outside: as it is
      {"79927398713", -12, true},  // before the start: as it is
      {"4111111111111111", -1, true},
      {"4111-1111-1111-1111", -1, false},  // the hyphens are positions
      {"", -1, true},
      {"A", -1, true},
      {"0000", -1, true},
      {"\xD9\xA1", -1, true},  // a digit of another script is none
      {"1\xF0\x9F\x92\xB6"
       "8",
       -1, true},  // a pair is two positions, so that 1 counts twice
      {"5\xF0\x9F\x92\xB6\x80"
       "5",
       -1, true},  // three positions: 5 counts once
      {"1\x80"
       "9",
       -1, true},  // a malformed byte takes nothing from the digit before it
  };
  for (const auto& [text, position, passes] : kCases)
    EXPECT_EQ(KelmLuhnCheck().doLuhnCheckWithString_checksumPosition(text, position), passes)
        << text << " at " << position;
  EXPECT_TRUE(KelmLuhnCheck().doLuhnCheckWithString(std::nullopt));
  EXPECT_TRUE(KelmLuhnCheck().doLuhnCheckWithString(std::string(1'000'000, '0')));
}

TEST(KelmLuhnCheck, PositionsAreUtf16Units) {
  const KelmLuhnCheck check;
  EXPECT_EQ(check.repositionChecksumDigitWithString_checksumPosition("37\xC3\xA9", 1),
            "3\xC3\xA9"
            "7");
  EXPECT_EQ(check.repositionChecksumDigitWithString_checksumPosition("37", 2), "37");
  EXPECT_EQ(check.repositionChecksumDigitWithString_checksumPosition(std::nullopt, 0),
            std::nullopt);
  EXPECT_EQ(check.toCharArrayFromString("a\xF0\x9F\x92\xB6"),
            (std::vector<std::string>{"a", "\xEF\xBF\xBD", "\xEF\xBF\xBD"}));
  EXPECT_THROW(check.deleteCharInString_atPosition("37", 2), Exception);
  EXPECT_THROW(check.deleteCharInString_atPosition("37", -1), Exception);
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
}  // namespace kelm::test
