#include "kelm/base/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

namespace kelm {
namespace {

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMostUnsigned = std::numeric_limits<std::uint64_t>::max();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Value, NumbersAreEqualExactlyWhenTheirValuesAre) {
  const std::pair<Value, Value> equal[] = {
      {1, 1U},          {std::int64_t{1} << 53, 0x1p53},
      {1, 1.0},         {0x1p63, std::uint64_t{1} << 63},
      {0, -0.0},        {kMost, static_cast<std::uint64_t>(kMost)},
      {kLeast, -0x1p63}};
  for (const auto& [a, b] : equal) {
    EXPECT_TRUE(a == b && b == a) << a.storage().index() << ' ' << b.storage().index();
    EXPECT_EQ(a.hash(), b.hash());
  }
  // Of two pairs the nearest double of one is the other, of a third the bits are the same.
  const std::pair<Value, Value> different[] = {
      {1, 1.5},   {0, Null{}},    {kMost, 0x1p63},     {kMostUnsigned, 0x1p64},
      {1, true},  {kNan, kNan},   {"a", dataOf("a")},  {HUGE_VAL, kMostUnsigned},
      {0, false}, {Date{1}, 1.0}, {-1, kMostUnsigned}, {(std::int64_t{1} << 53) + 1, 0x1p53},
      {1, "1"}};
  for (const auto& [a, b] : different)
    EXPECT_FALSE(a == b || b == a) << a.storage().index() << ' ' << b.storage().index();
}

TEST(Value, NumbersConvertByTruncatingAndClamping) {
  const std::tuple<Value, std::optional<std::int64_t>, std::optional<bool>> rows[] = {
      {-3, -3, true},   {"12", {}, {}},        {Null{}, {}, {}},     {-HUGE_VAL, kLeast, true},
      {2.9, 2, true},   {true, 1, true},       {Date{5}, {}, {}},    {kMostUnsigned, kMost, true},
      {0.1, 0, true},   {kNan, 0, true},       {1e300, kMost, true}, {0U, 0, false},
      {-2.9, -2, true}, {0x1p63, kMost, true},
  };
  for (const auto& [value, integer, boolean] : rows) {
    EXPECT_EQ(value.integer(), integer) << value.storage().index();
    EXPECT_EQ(value.boolean(), boolean) << value.storage().index();
    EXPECT_EQ(value.real().has_value(), integer.has_value());
  }
}

}  // namespace
}  // namespace kelm
