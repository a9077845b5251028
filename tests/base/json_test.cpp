#include "kelm/base/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kelm/base/describe.h"

namespace kelm {
namespace {

Value parsed(std::string_view json) {
  const Result<Value> result = parseJson(json);
  if (!result) ADD_FAILURE() << json << ": " << describe(result.error());
  return result ? *result : Value();
}

std::string nested(int levels, std::string_view inside = {}) {
  return std::string(static_cast<std::size_t>(levels), '[') + std::string(inside) +
         std::string(static_cast<std::size_t>(levels), ']');
}

TEST(ParseJson, NumbersTakeTheFirstKindThatHoldsThem) {
  const struct {
    const char* json;
    Value value;
  } rows[] = {
      {"[0]", std::int64_t{0}},
      {"[-0]", std::int64_t{0}},
      {"[9223372036854775807]", std::numeric_limits<std::int64_t>::max()},
      {"[-9223372036854775808]", std::numeric_limits<std::int64_t>::min()},
      {"[9223372036854775808]", std::uint64_t{1} << 63},
      {"[18446744073709551615]", std::numeric_limits<std::uint64_t>::max()},
      {"[18446744073709551616]", 0x1p64},
      {"[-9223372036854775809]", -0x1p63},
      {"[1.0]", 1.0},
      {"[1e2]", 100.0},
      {"[1E-400]", 0.0},
      {"[123456789012345678901234567890]", 1.2345678901234568e29},
  };
  for (const auto& row : rows) {
    const Value value = parsed(row.json);
    ASSERT_TRUE(value.get<List>()) << row.json;
    const Value& number = value.get<List>()->front();
    EXPECT_EQ(number, row.value) << row.json;
    EXPECT_EQ(number.storage().index(), row.value.storage().index()) << row.json;
  }
}

TEST(ParseJson, MalformedTextIsAnErrorWithItsOffset) {
  const std::pair<std::string, std::string_view> rows[] = {
      {"", "empty"},
      {" ", "blank"},
      {"null", "a scalar"},
      {"\"text\"", "a scalar"},
      {"12", "a scalar"},
      {"[1", "cut"},
      {"{\"a\"", "cut"},
      {"{\"a\":}", "no value"},
      {"[1,]", "a comma too many"},
      {"{\"a\":1,}", "a comma too many"},
      {"[,1]", "a comma too many"},
      {"[1 2]", "no comma"},
      {"{1:2}", "a key that is no text"},
      {"{a:1}", "a bare key"},
      {"['a']", "single quotes"},
      {"[01]", "a leading zero"},
      {"[+1]", "a plus sign"},
      {"[.5]", "no digit before the point"},
      {"[1.]", "no digit after the point"},
      {"[1e]", "no exponent"},
      {"[0x1]", "hexadecimal"},
      {"[NaN]", "not a number"},
      {"[Infinity]", "infinity"},
      {"[1e400]", "out of range"},
      {"[-1e400]", "out of range"},
      {"[True]", "case"},
      {"[nul]", "cut word"},
      {"[\"a\nb\"]", "a control character"},
      {"[\"a\tb\"]", "a control character"},
      {"[\"\\x41\"]", "an unknown escape"},
      {"[\"\\u12g4\"]", "not hexadecimal"},
      {"[\"\\ud800\"]", "half a pair"},
      {"[\"\\udc00\"]", "half a pair"},
      {"[\"\\ud800\\u0041\"]", "half a pair"},
      {"[\"\xff\"]", "not UTF-8"},
      {"[\"\xc0\x80\"]", "overlong"},
      {"[\"\xed\xa0\x80\"]", "a surrogate"},
      {"[\"\xe2\x82\"]", "a cut sequence"},
      {"[1] x", "trailing bytes"},
      {"[1][2]", "two documents"},
      {std::string("[1]\0", 4), "a trailing NUL"},
      {std::string("[1]\0[", 5), "NUL and more"},
      {std::string("\0[1]", 4), "a leading NUL"},
      {"[1]//c", "a comment"},
      {"[1/*c*/]", "a comment"},
      {"]", "closes nothing"},
      {"[}", "closes another"},
      {"\xfe\xff", "a byte order mark of UTF-16"},
  };
  for (const auto& [json, reason] : rows) {
    const Result<Value> result = parseJson(json);
    ASSERT_FALSE(result) << reason << ": " << json;
    const Value* offset = result.error().userInfo.find("offset");
    ASSERT_TRUE(offset) << reason;
    EXPECT_LE(*offset->integer(), static_cast<std::int64_t>(json.size() + 1)) << reason;
    EXPECT_EQ(result.error().domain, error_domain::kFormat);
  }
}

TEST(ParseJson, NestingIsLimitedWhileParsing) {
  EXPECT_TRUE(parseJson(nested(512)));
  const Result<Value> tooDeep = parseJson("[\"[[[\\\"\"," + nested(512) + "]");
  ASSERT_FALSE(tooDeep);
  EXPECT_EQ(*tooDeep.error().userInfo.find("offset"), Value(9 + 511));
  EXPECT_FALSE(parseJson(std::string(1000000, '[')));
  std::string objects;
  for (int i = 0; i < 100000; ++i)
    objects += "{\"a\":";
  EXPECT_FALSE(parseJson(objects));
}

TEST(WriteJson, WritesCompactAndPretty) {
  const Value value =
      Dictionary{{"b", List{Null{}, true, 1, 1.0, 1e21, -0.0}}, {"", Dictionary{}}, {"e", List{}}};
  EXPECT_EQ(*writeJson(value), R"({"b":[null,true,1,1,1e+21,0],"":{},"e":[]})");
  EXPECT_EQ(*writeJson(Dictionary{{"a", List{1, Dictionary{{"b", "c"}}}}, {"d", List{}}},
                       JsonStyle::Pretty),
            "{\n  \"a\" : [\n    1,\n    {\n      \"b\" : \"c\"\n    }\n  ],\n  \"d\" : []\n}");
}

TEST(WriteJson, EscapesWhatMustBeAndLeavesTheRest) {
  const std::string text = "\"\\/\b\f\n\r\t\x01\x1f\x7f\u00e9\U0001F600" + std::string(1, '\0');
  EXPECT_EQ(*writeJson(List{text}),
            "[\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7f\u00e9\U0001F600\\u0000\"]");
}

TEST(WriteJson, IsAbsentForWhatJsonCannotHold) {
  Value deep = List{};
  for (int i = 1; i < kJsonMaxDepth; ++i)
    deep = List{std::move(deep)};
  EXPECT_TRUE(writeJson(deep));
  const Value values[] = {
      Value(1),
      Value("text"),
      Value(),
      List{std::nan("")},
      List{HUGE_VAL},
      List{dataOf("x")},
      List{Date{1}},
      List{"\xff"},
      Dictionary{{"\xc3", 1}},
      List{deep},
      List{std::make_shared<Object>()},
  };
  for (const Value& value : values)
    EXPECT_FALSE(writeJson(value)) << value.storage().index();
}

TEST(Json, WhatIsWrittenReadsBackEqual) {
  const Value value = Dictionary{{"text", "\"\\ \u00e9\U0001F600\n"},
                                 {"numbers", List{0.1, 5e-324, 1.7976931348623157e308,
                                                  std::numeric_limits<std::int64_t>::min(),
                                                  std::numeric_limits<std::uint64_t>::max(), -1.5}},
                                 {"nested", List{List{}, Dictionary{{"k", Null{}}}}}};
  for (const JsonStyle style : {JsonStyle::Compact, JsonStyle::Pretty})
    EXPECT_EQ(parsed(*writeJson(value, style)), value);
}

}  // namespace
}  // namespace kelm
