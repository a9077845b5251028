#include "kelm/collections/vasp_dictionary_util.h"

#include <gtest/gtest.h>

#include <string>

#include "kelm/base/coding/json.h"
#include "kelm/crypto/vasp_sha2.h"

namespace kelm {
namespace {

TEST(DictionaryUtil, QueryStringEncodesPairsAndJoinsByPosition) {
  using Row = std::pair<Dictionary, const char*>;
  for (const auto& [dictionary, query] :
       {Row{{}, ""}, Row{{{"a b", "c&d"}}, "a%20b=c%26d"}, Row{{{"b", "2"}, {"a", "1"}}, "b=2&a=1"},
        Row{{{"", "lost"}, {"a", "1"}, {"b", "2"}}, "&a=1&b=2"},
        Row{{{"a", "1"}, {"", "lost"}, {"b", "2"}}, "a=1&b=2"}, Row{{{"", "lost"}}, ""},
        Row{{{"k", ""}}, "k="}, Row{{{"é", std::string_view("\r\n\0", 3)}}, "%C3%A9=%0D%0A%00"},
        Row{{{"~!'\"=", "();:@&+$,/?%#[]%"}},
            "%7E%21%27%22%3D=%28%29%3B%3A%40%26%2B%24%2C%2F%3F%25%23%5B%5D%25"},
        Row{{{"n", 12}, {"t", true}, {"r", 1.5}, {"z", Null{}}}, "n=12&t=1&r=1.5&z=%3Cnull%3E"}})
    EXPECT_EQ(VaspDictionaryUtil::queryStringFromNSDictionary(dictionary), query);
}

TEST(DictionaryUtil, QueryStringParsesOnlyPiecesOfExactlyTwoParts) {
  using Row = std::pair<const char*, Dictionary>;
  for (const auto& [query, dictionary] :
       {Row{"", {}}, Row{"a=1&b&c=2=3", {{"a", "1"}}}, Row{"&&a=1&&", {{"a", "1"}}},
        Row{"a=1&b=2&a=3", {{"a", "3"}, {"b", "2"}}}, Row{"a=&=v", {{"a", ""}, {"", "v"}}},
        Row{"a%20b=c%26d&%C3%A9=%3D", {{"a b", "c&d"}, {"é", "="}}}, Row{"=", {{"", ""}}},
        Row{"==", {}}, Row{"a=%FF&b=1", {{"b", "1"}}}, Row{"%FF=1&b=1", {{"b", "1"}}},
        Row{"a=1+2", {{"a", "1+2"}}}, Row{"?a=1", {{"?a", "1"}}}})
    EXPECT_EQ(VaspDictionaryUtil::NSDictionaryFromQueryString(query), dictionary) << query;
  EXPECT_EQ(VaspDictionaryUtil::NSDictionaryFromQueryString(std::nullopt), Dictionary());
}

TEST(DictionaryUtil, LookUpFindsFirstKeyThatIsEqualInLowerCase) {
  const Dictionary headers{{"Content-Type", 1}, {"content-type", 2}, {"ÉTÉ", 3}, {"İ", 4},
                           {"ΟΔΟΣ", 5},         {"\xC3\x28X", 6},    {"", 7}};
  using Row = std::pair<const char*, std::optional<Value>>;
  for (const auto& [key, value] :
       {Row{"CONTENT-TYPE", 1}, Row{"été", 3}, Row{"ÉtÉ", 3}, Row{"i̇", 4}, Row{"οδος", 5},
        Row{"\xC3\x28x", 6}, Row{"", 7}, Row{"ete", std::nullopt}, Row{"\xC3", std::nullopt}})
    EXPECT_EQ(VaspDictionaryUtil::getValueFromDictionary_caseInsesitiveStringKey(headers, key),
              value)
        << key;
}

TEST(DictionaryUtil, FlatteningMergesNestedEntriesAndLastWrittenWins) {
  using Row = std::pair<const char*, const char*>;
  for (const auto& [nested, flat] :
       {Row{R"({})", R"({})"}, Row{R"({"a":1,"x":{"a":2,"b":3},"b":4})", R"({"a":2,"b":4})"},
        Row{R"({"x":{"x":{"x":5}},"y":{}})", R"({"x":5})"},
        Row{R"({"l":[{"a":1}],"x":{"l2":[]}})", R"({"l":[{"a":1}],"l2":[]})"},
        Row{R"({"x":{"b":1,"a":2},"y":{"a":3,"c":4}})", R"({"b":1,"a":3,"c":4})"}}) {
    const auto parsed = parseJson(nested);
    ASSERT_TRUE(parsed) << nested;
    EXPECT_EQ(
        writeJson(VaspDictionaryUtil::flatDictionaryFromDictionary(*parsed->get<Dictionary>())),
        flat);
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
  EXPECT_TRUE(flat.contains("level10000"));
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
  EXPECT_TRUE(digest && VaspDictionaryUtil::sha256ByteDigestForDictionary(Dictionary{}));
  EXPECT_EQ(VaspDictionaryUtil::sha256ByteDigestForDictionary(std::nullopt), std::nullopt);
  EXPECT_EQ(VaspDictionaryUtil::sha256ByteDigestForDictionary(Dictionary{{"d", Data{1}}}),
            std::nullopt);
}

}  // namespace
}  // namespace kelm
