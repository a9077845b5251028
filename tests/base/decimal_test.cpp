#include "kelm/base/decimal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "kelm/base/coding/json.h"
#include "kelm/base/coding/keyed_archive.h"
#include "kelm/base/coding/property_list.h"
#include "kelm/base/describe.h"
#include "kelm/base/value.h"

namespace kelm {
namespace {

Decimal decimal(std::string_view text) {
  const auto number = Decimal::fromText(text);
  if (!number) ADD_FAILURE() << "no number: " << text;
  return number.value_or(Decimal());
}

const std::string kDigits38 = "12345678901234567890123456789012345678";

TEST(Decimal, TextsOfANumberGiveTheOneShortestText) {
  const std::string zeros(100000, '0');
  using Row = std::pair<std::string, std::string>;
  for (const auto& [text, shortest] :
       {Row{"-0.00e999999999999999999999", "0"}, Row{"+12.50", "12.5"}, Row{"-012.5", "-12.5"},
        Row{".5", "0.5"}, Row{"5.", "5"}, Row{"1234E-2", "12.34"}, Row{"1.0e-128", "1e-128"},
        Row{"1e20", "100000000000000000000"}, Row{"1e21", "1e+21"}, Row{"0.000001", "0.000001"},
        Row{"123000000000000000000000", "1.23e+23"}, Row{"0.00000012", "1.2e-7"},
        Row{kDigits38, "1.2345678901234567890123456789012345678e+37"},
        Row{"0." + kDigits38, "0." + kDigits38},
        Row{std::string(38, '9') + "e127", "9." + std::string(37, '9') + "e+164"},
        Row{zeros + "7" + zeros.substr(0, 100) + "." + zeros, "7e+100"},
        Row{"0." + zeros + "7e100001", "7"}}) {
    EXPECT_EQ(decimal(text).text(), shortest) << text.substr(0, 60);
    EXPECT_EQ(decimal(shortest), decimal(text)) << text.substr(0, 60);
  }
}

TEST(Decimal, WhatIsNoNumberOrDoesNotFitIsAbsent) {
  const std::string texts[] = {
      // form
      "", std::string("1\0", 2), ".", "-", "+-1", "--1", " 1", "1 ", "1,5", "1.2.3", "e5", "1e",
      "1e+", "1e5.0", "1e 5", "NaN", "nan", "inf", "Infinity", "0x10", "\u0661",
      // size
      "1e165", "1e-129", "1.5e-128", "1e100000000000000000000", "1e-100000000000000000000",
      "999999999999999999999999999999999999999e126", std::string(500, '1'), kDigits38 + "9",
      "0." + kDigits38 + "9", "1" + kDigits38};
  for (const std::string& text : texts)
    EXPECT_FALSE(Decimal::fromText(text)) << text;
}

TEST(Decimal, OrdersByValue) {
  const char* const ascending[] = {
      // exponents and digits at the borders of what a double and an integer hold
      "-1e164",
      "-12.5",
      "-12.4999999999999999999999999999999999",
      "-1",
      "-1e-128",
      "0",
      "1e-128",
      "0.1",
      "1",
      "9",
      "10",
      "12.5",
      "12.50000000000000000000000000000000001",
      "100",
      "18446744073709551615",
      "18446744073709551616",
      "1e127",
      "10e127",
      "11e127"};
  for (std::size_t i = 0; i < std::size(ascending); ++i)
    for (std::size_t j = 0; j < std::size(ascending); ++j)
      EXPECT_EQ(decimal(ascending[i]) <=> decimal(ascending[j]), i <=> j)
          << ascending[i] << ' ' << ascending[j];
}

TEST(Decimal, ConvertsByTruncatingAndClamping) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  const std::tuple<const char*, std::int64_t, double, bool, bool> rows[] = {
      {"0", 0, 0, true, true},
      {"1699999999999.9", 1699999999999, 1699999999999.9, false, false},
      {"-2.9", -2, -2.9, false, false},
      {"-1", -1, -1, true, false},
      {"9223372036854775807", kMost, 0x1p63, true, true},
      {"9223372036854775808", kMost, 0x1p63, false, true},
      {"-9223372036854775808", kLeast, -0x1p63, true, false},
      {"-9223372036854775809", kLeast, -0x1p63, false, false},
      {"18446744073709551615", kMost, 0x1p64, false, true},
      {"18446744073709551616", kMost, 0x1p64, false, false},
      {"1e-128", 0, 1e-128, false, false},
  };
  for (const auto& [text, integer, real, isSigned, isUnsigned] : rows) {
    const Decimal number = decimal(text);
    EXPECT_EQ(number.integer(), integer) << text;
    EXPECT_EQ(number.real(), real) << text;
    EXPECT_EQ(number.exactSigned().has_value(), isSigned) << text;
    EXPECT_EQ(number.exactUnsigned().has_value(), isUnsigned) << text;
  }
  EXPECT_EQ(Decimal(kLeast).text(), "-9223372036854775808");
  EXPECT_EQ(Decimal(std::numeric_limits<std::uint64_t>::max()).text(), "18446744073709551615");
}

TEST(Decimal, OnlyDoublesOfFewDigitsAreExactlyOne) {
  EXPECT_EQ(Decimal::exactly(-12.5), decimal("-12.5"));
  EXPECT_EQ(Decimal::exactly(-0.0), Decimal());
  EXPECT_EQ(Decimal::exactly(0x1p-53), decimal("1.1102230246251565404236316680908203125e-16"));
  for (const double number : {0x1p-55, 0.1, 5e-324, 1e200, HUGE_VAL, std::nan("")})
    EXPECT_FALSE(Decimal::exactly(number)) << number;  // 0x1p-55 has 39 digits
}

TEST(Decimal, InsideAValueItIsOneNumberAmongTheOthers) {
  using Row = std::tuple<Decimal, Value, bool>;
  for (const auto& [number, other, areEqual] :
       {Row{decimal("18446744073709551615"), std::numeric_limits<std::uint64_t>::max(), true},
        Row{decimal("9007199254740993"), std::int64_t{9007199254740993}, true},
        Row{decimal("9007199254740993"), 0x1p53, false}, Row{decimal("1e0"), 1, true},
        Row{decimal("-12.5"), -12.5, true}, Row{decimal("0.1"), 0.1, false},
        Row{decimal("1e22"), 1e22, true}, Row{decimal("1e23"), 1e23, false},
        Row{decimal("1"), true, false}, Row{decimal("1"), "1", false},
        Row{decimal("1e-128"), 0, false}}) {
    EXPECT_EQ(Value(number) == other, areEqual) << number.text();
    EXPECT_EQ(other == Value(number), areEqual) << number.text();
    EXPECT_TRUE(!areEqual || Value(number).hash() == other.hash()) << number.text();
  }
  EXPECT_EQ(Value(decimal("-2.9")).integer(), -2);
  EXPECT_EQ(Value(decimal("-2.9")).real(), -2.9);
  EXPECT_EQ(Value(decimal("1e-128")).boolean(), true);
}

TEST(Decimal, JsonAndPropertyListsHoldAllOfItsDigitsAndArchivesTheNumber) {
  const List list{decimal("0." + kDigits38), decimal("-1e+30")};
  EXPECT_EQ(*writeJson(list), "[0." + kDigits38 + ",-1e+30]");
  const auto xml = writePropertyList(list);
  EXPECT_NE(xml->find("<real>0." + kDigits38 + "</real>\n\t<real>-1e+30</real>"), xml->npos);
  const Result<Value> back = unarchivedValue(*archivedData(list));
  ASSERT_TRUE(back) << describe(back.error());
  EXPECT_EQ(*back, Value(list));
  EXPECT_TRUE(back->get<List>()->front().get<Decimal>());

  std::string damaged = std::string(textOf(*archivedData(list)));
  damaged.replace(damaged.find("-1e+30"), 6, "-1e+3z");
  EXPECT_FALSE(unarchivedValue(bytesOf(damaged)));
}

}  // namespace
}  // namespace kelm
