#include "kelm/collections/vasp_dictionary_util.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelm/base/json.h"
#include "kelm/crypto/vasp_sha2.h"

namespace kelm {
namespace {

TEST(DictionaryUtil, QueryStringEncodesPairsAndJoinsByPosition) {
  const struct {
    Dictionary dictionary;
    std::string query;
  } kRows[] = {
      {{}, ""},
      {{{"a b", "c&d"}}, "a%20b=c%26d"},
      {{{"b", "2"}, {"a", "1"}}, "b=2&a=1"},
      {{{"", "lost"}, {"a", "1"}, {"b", "2"}}, "&a=1&b=2"},
      {{{"a", "1"}, {"", "lost"}, {"b", "2"}}, "a=1&b=2"},
      {{{"", "lost"}}, ""},
      {{{"k", ""}}, "k="},
      {{{"é", "\r\n\t"}}, "%C3%A9=%0D%0A%09"},
      {{{"k", std::string_view("\0x", 2)}}, "k=%00x"},
      {{{"~!'\"=", "();:@&+$,/?%#[]%"}},
       "%7E%21%27%22%3D=%28%29%3B%3A%40%26%2B%24%2C%2F%3F%25%23%5B%5D%25"},
      {{{"Az09-_.*", "+"}}, "Az09-_.*=%2B"},
      {{{"n", 12}, {"t", true}, {"r", 1.5}, {"z", Null{}}}, "n=12&t=1&r=1.5&z=%3Cnull%3E"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(VaspDictionaryUtil::queryStringFromNSDictionary(row.dictionary), row.query);
}

TEST(DictionaryUtil, QueryStringParsesOnlyPiecesOfExactlyTwoParts) {
  const struct {
    std::optional<std::string_view> query;
    Dictionary dictionary;
  } kRows[] = {
      {std::nullopt, {}},
      {"", {}},
      {"a=1&b&c=2=3", {{"a", "1"}}},
      {"&&a=1&&", {{"a", "1"}}},
      {"a=1&b=2&a=3", {{"a", "3"}, {"b", "2"}}},
      {"a=&=v", {{"a", ""}, {"", "v"}}},
      {"a%20b=c%26d&%C3%A9=%3D", {{"a b", "c&d"}, {"é", "="}}},
      {"=", {{"", ""}}},
      {"==", {}},
      {"a=%FF&b=1", {{"b", "1"}}},
      {"%FF=1&b=1", {{"b", "1"}}},
      {"a=1+2", {{"a", "1+2"}}},
      {"?a=1", {{"?a", "1"}}},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(VaspDictionaryUtil::NSDictionaryFromQueryString(row.query), row.dictionary)
        << row.query.value_or("(absent)");
}

TEST(DictionaryUtil, LookUpFindsFirstKeyThatIsEqualInLowerCase) {
  const Dictionary headers{{"Content-Type", 1}, {"content-type", 2}, {"ÉTÉ", 3}, {"İ", 4},
                           {"ΟΔΟΣ", 5},         {"\xC3\x28X", 6},    {"", 7}};
  const struct {
    std::string key;
    std::optional<Value> value;
  } kRows[] = {
      {"CONTENT-TYPE", 1},
      {"été", 3},
      {"ÉtÉ", 3},
      {"i̇", 4},
      {"οδος", 5},
      {"\xC3\x28x", 6},
      {"", 7},
      {"ete", std::nullopt},
      {"\xC3", std::nullopt},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(VaspDictionaryUtil::getValueFromDictionary_caseInsesitiveStringKey(headers, row.key),
              row.value)
        << row.key;
}

TEST(DictionaryUtil, FlatteningMergesNestedEntriesAndLastWrittenWins) {
  const struct {
    std::string nested;
    std::string flat;
  } kRows[] = {
      {R"({})", R"({})"},
      {R"({"x":{"y":1}})", R"({"y":1})"},
      {R"({"a":1,"x":{"a":2,"b":3},"b":4})", R"({"a":2,"b":4})"},
      {R"({"x":{"x":{"x":5}},"y":{}})", R"({"x":5})"},
      {R"({"l":[{"a":1}],"x":{"l2":[]}})", R"({"l":[{"a":1}],"l2":[]})"},
      {R"({"x":{"b":1,"a":2},"y":{"a":3,"c":4}})", R"({"b":1,"a":3,"c":4})"},
  };
  for (const auto& row : kRows) {
    const auto nested = parseJson(row.nested);
    ASSERT_TRUE(nested) << row.nested;
    EXPECT_EQ(
        writeJson(VaspDictionaryUtil::flatDictionaryFromDictionary(*nested->get<Dictionary>())),
        row.flat);
  }
}

TEST(DictionaryUtil, FlatteningTenThousandLevelsKeepsEveryEntry) {
  constexpr int kLevels = 10000;
  Dictionary nested;
  for (int level = kLevels; level > 0; --level) {
    Dictionary outer{{"level" + std::to_string(level), level}};
    outer.set("nested", std::move(nested));
    nested = std::move(outer);
  }
  const Dictionary flat = VaspDictionaryUtil::flatDictionaryFromDictionary(nested);
  EXPECT_EQ(flat.size(), static_cast<std::size_t>(kLevels));
  ASSERT_NE(flat.find("level10000"), nullptr);
  EXPECT_EQ(*flat.find("level10000"), Value(kLevels));
  // Destroying recurses, so this many levels are taken apart one by one.
  while (Value* inner = nested.find("nested")) {
    Dictionary next = std::move(*inner->get<Dictionary>());
    nested = std::move(next);
  }
}

TEST(DictionaryUtil, DigestIsOverTheCompactJson) {
  const Dictionary dictionary{{"b", 1}, {"a", List{true, Null{}, "é"}}};
  const auto digest = VaspDictionaryUtil::sha256ByteDigestForDictionary(dictionary);
  EXPECT_EQ(digest, VaspSha2::sha256ByteDigestForData(bytesOf(R"({"b":1,"a":[true,null,"é"]})")));
  ASSERT_TRUE(digest);
  EXPECT_EQ(digest->size(), 32U);
  EXPECT_NE(VaspDictionaryUtil::sha256ByteDigestForDictionary(Dictionary{}), std::nullopt);
  EXPECT_EQ(VaspDictionaryUtil::sha256ByteDigestForDictionary(std::nullopt), std::nullopt);
  EXPECT_EQ(VaspDictionaryUtil::sha256ByteDigestForDictionary(Dictionary{{"d", Data{1}}}),
            std::nullopt);
}

}  // namespace
}  // namespace kelm
