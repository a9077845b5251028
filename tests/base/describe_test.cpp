#include "kelm/base/describe.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

namespace kelm {
namespace {

TEST(ShortestText, FollowsTheRulesOfEcmaScript) {
  // The rows with bits are the samples of RFC 8785, appendix B.
  const std::pair<std::uint64_t, const char*> samples[] = {
      {0x0000000000000000, "0"},
      {0x8000000000000000, "0"},
      {0x0000000000000001, "5e-324"},
      {0x8000000000000001, "-5e-324"},
      {0x7fefffffffffffff, "1.7976931348623157e+308"},
      {0xffefffffffffffff, "-1.7976931348623157e+308"},
      {0x4340000000000000, "9007199254740992"},
      {0xc340000000000000, "-9007199254740992"},
      {0x4430000000000000, "295147905179352830000"},
      {0x44b52d02c7e14af5, "9.999999999999997e+22"},
      {0x44b52d02c7e14af6, "1e+23"},
      {0x44b52d02c7e14af7, "1.0000000000000001e+23"},
      {0x444b1ae4d6e2ef4e, "999999999999999700000"},
      {0x444b1ae4d6e2ef4f, "999999999999999900000"},
      {0x444b1ae4d6e2ef50, "1e+21"},
      {0x3eb0c6f7a0b5ed8c, "9.999999999999997e-7"},
      {0x3eb0c6f7a0b5ed8d, "0.000001"},
      {0x41b3de4355555553, "333333333.3333332"},
      {0x41b3de4355555557, "333333333.33333343"},
      {0xbecbf647612f3696, "-0.0000033333333333333333"},
      {0x43143ff3c1cb0959, "1424953923781206.2"},
      {0x7fffffffffffffff, "NaN"},
      {0x7ff0000000000000, "Infinity"},
      {0xfff0000000000000, "-Infinity"},
  };
  for (const auto& [bits, text] : samples)
    EXPECT_EQ(shortestText(std::bit_cast<double>(bits)), text);
  EXPECT_EQ(shortestText(100000), "100000");
}

TEST(Describe, PrintsEveryKindOfLeaf) {
  using Row = std::pair<Value, const char*>;
  for (const auto& [value, text] :
       {Row{true, "1"}, Row{std::uint8_t{200}, "200"}, Row{1.0, "1"}, Row{Null{}, "<null>"},
        Row{std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
        Row{std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"}, Row{"text", "text"},
        Row{List{}, "(\n)"}, Row{Dictionary{}, "{\n}"}})
    EXPECT_EQ(describe(value), text);
  EXPECT_EQ(describe(static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(describe(std::optional<std::string>()), "(null)");
  EXPECT_EQ(describe(std::optional<int>(5)), "5");
  EXPECT_EQ(describe(std::shared_ptr<Object>()), "(null)");
  EXPECT_EQ(describe(std::vector<std::string>{"a", "b"}), "(\n    a,\n    b\n)");
}

TEST(Describe, PrintsDatesOfEveryMagnitude) {
  const std::pair<double, const char*> rows[] = {
      {1700000000.9, "2023-11-14 22:13:20 +0000"},  {-0.5, "1969-12-31 23:59:59 +0000"},
      {951782400, "2000-02-29 00:00:00 +0000"},     {-2208988800, "1900-01-01 00:00:00 +0000"},
      {4107542399, "2100-02-28 23:59:59 +0000"},    {4107542400, "2100-03-01 00:00:00 +0000"},
      {253402300800, "10000-01-01 00:00:00 +0000"}, {-62135596800, "0001-01-01 00:00:00 +0000"},
      {-62198755200, "-0001-01-01 00:00:00 +0000"}, {1e17, "3168875820-09-06 09:46:40 +0000"},
      {1e300, "1e+300 seconds since 1970"},         {-HUGE_VAL, "-Infinity seconds since 1970"},
      {std::nan(""), "NaN seconds since 1970"},
  };
  for (const auto& [seconds, text] : rows)
    EXPECT_EQ(describe(Date{seconds}), text);
}

TEST(Describe, IndentsNestedCollectionsByFourBlanksALevel) {
  const Dictionary nested{{"b", List{1, Dictionary{{"x", "y z"}}, List{}}}, {"a", Null{}}};
  EXPECT_EQ(describe(nested),
            "{\n    b = (\n        1,\n        {\n            x = y z;\n        },\n"
            "        (\n        )\n    );\n    a = <null>;\n}");
}

TEST(Describe, ShowsTheDetailsOfAnErrorOnlyWhenItHasMoreThanTheSentence) {
  EXPECT_EQ(describe(posixError(2)), "Error Domain=posix Code=2 \"No such file or directory\"");
  EXPECT_EQ(posixError(2, "/a/b").localizedDescription(), "No such file or directory: /a/b");
  Error error = Error::make("url", -1001);
  EXPECT_EQ(describe(error),
            "Error Domain=url Code=-1001 \"The operation failed (url error -1001)\"");
  error.userInfo.set("host", "example.org");
  error.userInfo.set(Error::kSentenceKey, "Timed out");
  error.userInfo.set("tries", 3);
  EXPECT_EQ(describe(error),
            "Error Domain=url Code=-1001 \"Timed out\" UserInfo={host=example.org, tries=3}");
}

TEST(Error, RaisedFailuresCarryNameAndReason) {
  try {
    raiseOutOfRange(5, 3);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(dynamic_cast<const Exception&>(error).name(), exception_name::kRange);
    EXPECT_STREQ(error.what(), "NSRangeException: index 5 is out of range, the count is 3");
  }
}

/// Describes itself by a list that holds it.
struct Ouroboros : Object {
  std::string description() const override { return describe(List{self.lock()}); }
  std::weak_ptr<Ouroboros> self;
};

TEST(Describe, NestingWithoutEndStopsWithDots) {
  const auto snake = std::make_shared<Ouroboros>();
  snake->self = snake;
  EXPECT_NE(describe(*snake).find("..."), std::string::npos);
  EXPECT_EQ(describe(List{1}), "(\n    1\n)");  // the depth is given back
}

}  // namespace
}  // namespace kelm
