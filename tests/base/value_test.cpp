#include "kelm/base/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kelm {
namespace {

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMostUnsigned = std::numeric_limits<std::uint64_t>::max();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTwoTo63 = 0x1p63;

struct Named : Object {
  explicit Named(int n) : number(n) {}
  bool isEqual(const Object& other) const override {
    const auto* named = dynamic_cast<const Named*>(&other);
    return named && named->number == number;
  }
  std::size_t hash() const override { return static_cast<std::size_t>(number); }
  int number;
};

TEST(Value, NumbersAreEqualExactlyWhenTheirValuesAre) {
  const std::pair<Value, Value> equal[] = {
      {1, 1.0},
      {1, 1U},
      {0, -0.0},
      {kLeast, -kTwoTo63},
      {kTwoTo63, std::uint64_t{1} << 63},
      {kMost, static_cast<std::uint64_t>(kMost)},
      {std::int64_t{1} << 53, 0x1p53},
  };
  for (const auto& [a, b] : equal) {
    EXPECT_TRUE(a == b && b == a) << a.storage().index() << ' ' << b.storage().index();
    EXPECT_EQ(a.hash(), b.hash());
  }
  const std::pair<Value, Value> different[] = {
      {kMost, kTwoTo63},        // the nearest double of one is the other
      {kMostUnsigned, 0x1p64},  // likewise
      {(std::int64_t{1} << 53) + 1, 0x1p53},
      {-1, kMostUnsigned},  // the same bits
      {1, true},
      {0, false},
      {1, "1"},
      {kNan, kNan},
      {1, 1.5},
      {kInfinity, kMostUnsigned},
      {0, Null{}},
      {Date{1}, 1.0},
      {"a", dataOf("a")},
  };
  for (const auto& [a, b] : different)
    EXPECT_FALSE(a == b || b == a) << a.storage().index() << ' ' << b.storage().index();
}

TEST(Value, NumbersConvertByTruncatingAndClamping) {
  const struct {
    Value value;
    std::optional<std::int64_t> integer;
    std::optional<bool> boolean;
  } rows[] = {
      {true, 1, true},
      {false, 0, false},
      {-3, -3, true},
      {2.9, 2, true},
      {-2.9, -2, true},
      {0.1, 0, true},
      {1e300, kMost, true},
      {-kInfinity, kLeast, true},
      {kNan, 0, true},
      {kTwoTo63, kMost, true},
      {kMostUnsigned, kMost, true},
      {0U, 0, false},
      {"12", {}, {}},
      {Null{}, {}, {}},
      {Date{5}, {}, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.value.integer(), row.integer) << row.value.storage().index();
    EXPECT_EQ(row.value.boolean(), row.boolean) << row.value.storage().index();
    EXPECT_EQ(row.value.real().has_value(), row.integer.has_value());
  }
}

}  // namespace
}  // namespace kelm
