#include <gtest/gtest.h>

#include <string>

#include "kelm/network/zu_http_response.h"

namespace kelm {
namespace {

std::string repeated(std::string_view text, int times) {
  std::string all;
  while (times-- > 0)
    all += text;
  return all;
}

TEST(Response, DescriptionsHaveTheirTwoThresholds) {
  const std::string kNone = "<no body>", kBig = "<body too big>";
  const struct {
    std::string name;
    std::optional<std::string> body;
    std::optional<std::string> asText;           // absent: the body itself
    std::optional<std::string> inTheDictionary;  // absent: the bytes
  } kRows[] = {
      {"absent", std::nullopt, kNone, kNone},
      {"empty", "", {}, {}},
      {"999 bytes", repeated("x", 999), {}, {}},
      {"1000 bytes", repeated("x", 1000), {}, kBig},
      {"9999 characters", repeated("x", 9999), {}, kBig},
      {"10000 characters", repeated("x", 10000), kBig, kBig},
      {"4999 pairs", repeated("𝄞", 4999), {}, kBig},
      {"5000 pairs", repeated("𝄞", 5000), kBig, kBig},
      {"not UTF-8", "\xff\xfe", kNone, {}},
      {"cut UTF-8, long", repeated("x", 10000) + "\xC3", kNone, kBig},
      {"NUL", std::string("a\0b", 3), {}, {}},
  };
  for (const auto& row : kRows) {
    ZuHTTPResponse response;
    std::optional<Value> bytes = row.body ? std::optional<Value>(dataOf(*row.body)) : std::nullopt;
    if (row.body) response.setBodyResponse(dataOf(*row.body));
    EXPECT_EQ(response.description(),
              "Response Code:0\n<no headers>\n" + (row.asText ? *row.asText : *row.body))
        << row.name;
    const Value shown = row.inTheDictionary ? Value(*row.inTheDictionary) : *bytes;
    EXPECT_EQ(
        response.dictionaryDescription(),
        (Dictionary{{"Response:", Dictionary{{"Response Code", 0},
                                             {"Response Body", shown},
                                             {"Response Headers", "<no headers>"},
                                             {"Response Cookie Headers", "<no cookie headers>"}}}}))
        << row.name;
  }
}

TEST(Response, DictionaryDescriptionHoldsFourEntriesUnderOneKey) {
  ZuHTTPResponse response;
  platform::Cookie cookie;
  cookie.name = "id";
  cookie.value = "7";
  response.setStatusCode(404);
  response.setHeadersResponse(Dictionary{{"A", "b"}});
  response.setCookiesResponse(ZuHTTPResponse::Cookies{cookie});
  EXPECT_EQ(response.dictionaryDescription(),
            (Dictionary{{"Response:", Dictionary{{"Response Code", 404},
                                                 {"Response Body", "<no body>"},
                                                 {"Response Headers", Dictionary{{"A", "b"}}},
                                                 {"Response Cookie Headers",
                                                  List{platform::describe(cookie)}}}}}));
  EXPECT_EQ(response.description(), "Response Code:404\n{\n    A = b;\n}\n<no body>");
}

}  // namespace
}  // namespace kelm
