#include "kelm/base/coding/json.h"

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

TEST(ParseJson, NumbersTakeTheFirstKindThatHoldsThem) {
  const std::pair<const char*, Value> rows[] = {
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
  };
  for (const auto& [json, expected] : rows) {
    const Value value = parsed(json);
    ASSERT_TRUE(value.get<List>()) << json;
    const Value& number = value.get<List>()->front();
    EXPECT_EQ(number, expected) << json;
    EXPECT_EQ(number.storage().index(), expected.storage().index()) << json;
  }
}

TEST(ParseJson, MalformedTextIsAnErrorWithItsOffset) {
  const std::string texts[] = {
      // no document, a scalar, a cut one
      "", " ", "null", "\"text\"", "12", "[1", "{\"a\"", "{\"a\":}", "]", "[}",
      // commas, keys, quotes, words
      "[1,]", "{\"a\":1,}", "[,1]", "[1 2]", "{1:2}", "{a:1}", "['a']", "[True]", "[nul]",
      // numbers
      "[01]", "[+1]", "[.5]", "[1.]", "[1e]", "[0x1]", "[NaN]", "[Infinity]", "[1e400]", "[-1e400]",
      // control characters, escapes, halves of a pair
      "[\"a\nb\"]", "[\"a\tb\"]", "[\"\\x41\"]", "[\"\\u12g4\"]", "[\"\\ud800\"]", "[\"\\udc00\"]",
      "[\"\\ud800\\u0041\"]",
      // not UTF-8: a foreign byte, overlong, a surrogate, a cut sequence, a mark of UTF-16
      "[\"\xff\"]", "[\"\xc0\x80\"]", "[\"\xed\xa0\x80\"]", "[\"\xe2\x82\"]", "\xfe\xff",
      // more than a document
      "[1] x", "[1][2]", std::string("[1]\0", 4), std::string("[1]\0[", 5), std::string("\0[1]", 4),
      "[1]//c", "[1/*c*/]"};
  for (const std::string& json : texts) {
    const Result<Value> result = parseJson(json);
    ASSERT_FALSE(result) << json;
    const Value* offset = result.error().userInfo.find("offset");
    ASSERT_TRUE(offset) << json;
    EXPECT_LE(*offset->integer(), static_cast<std::int64_t>(json.size() + 1)) << json;
    EXPECT_EQ(result.error().domain, error_domain::kFormat);
  }
}

TEST(ParseJson, NestingIsLimitedWhileParsing) {
  const std::string deepest = std::string(512, '[') + std::string(512, ']');
  EXPECT_TRUE(parseJson(deepest));
  const Result<Value> tooDeep = parseJson("[\"[[[\\\"\"," + deepest + "]");
  ASSERT_FALSE(tooDeep);
  EXPECT_EQ(*tooDeep.error().userInfo.find("offset"), Value(9 + 511));
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
  const Value values[] = {// scalars, numbers that are none, kinds and bytes without a text
                          1,
                          "text",
                          Null{},
                          List{std::nan("")},
                          List{HUGE_VAL},
                          List{dataOf("x")},
                          List{Date{1}},
                          List{"\xff"},
                          Dictionary{{"\xc3", 1}},
                          List{deep},
                          List{std::make_shared<Object>()}};
  for (const Value& value : values)
    EXPECT_FALSE(writeJson(value)) << value.storage().index();
}

TEST(Json, WhatIsWrittenReadsBackEqual) {
  const Value value = Dictionary{
      {"text", "\"\\ \u00e9\U0001F600\n"},
      {"numbers",
       List{0.1, 5e-324, 1.7976931348623157e308, -1.5, std::numeric_limits<std::uint64_t>::max()}},
      {"nested", List{List{}, Dictionary{{"k", Null{}}}}},
  };
  for (const JsonStyle style : {JsonStyle::Compact, JsonStyle::Pretty})
    EXPECT_EQ(parsed(*writeJson(value, style)), value);
}

}  // namespace
}  // namespace kelm
