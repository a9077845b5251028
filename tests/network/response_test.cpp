#include <gtest/gtest.h>

#include <string>

#include "kelm/network/zu_http_response.h"

namespace kelm {
namespace {

TEST(Response, DescriptionsHaveTheirTwoThresholds) {
  const std::string kNone = "<no body>", kBig = "<body too big>";
  std::string pairs;
  for (int i = 0; i < 4999; ++i)
    pairs += "𝄞";
  const struct {
    std::string name;
    std::optional<std::string> body;
    std::optional<std::string> asText;           // absent: the body itself
    std::optional<std::string> inTheDictionary;  // absent: the bytes
  } kRows[] = {
      {"absent", std::nullopt, kNone, kNone},
      {"999 bytes", std::string(999, 'x'), {}, {}},
      {"1000 bytes", std::string(1000, 'x'), {}, kBig},
      {"4999 pairs", pairs, {}, kBig},
      {"5000 pairs", pairs + "𝄞", kBig, kBig},
      {"cut UTF-8, long", std::string(10000, 'x') + "\xC3", kNone, kBig},
      {"NUL", std::string("a\0b", 3), {}, {}},
  };
  for (const auto& row : kRows) {
    ZuHTTPResponse response;
    if (row.body) response.setBodyResponse(dataOf(*row.body));
    EXPECT_EQ(response.description(),
              "Response Code:0\n<no headers>\n" + (row.asText ? *row.asText : *row.body))
        << row.name;
    const Value shown = row.inTheDictionary ? Value(*row.inTheDictionary) : dataOf(*row.body);
    EXPECT_EQ(*response.dictionaryDescription().find("Response:")->get<Dictionary>(),
              (Dictionary{{"Response Code", 0},
                          {"Response Body", shown},
                          {"Response Headers", "<no headers>"},
                          {"Response Cookie Headers", "<no cookie headers>"}}))
        << row.name;
  }
}

TEST(Response, DescriptionsHoldHeadersAndCookies) {
  ZuHTTPResponse response;
  platform::Cookie cookie;
  cookie.name = "id";
  cookie.value = "7";
  response.setStatusCode(404);
  response.setHeadersResponse(Dictionary{{"A", "b"}});
  response.setCookiesResponse(ZuHTTPResponse::Cookies{cookie});
  const Value shown(Dictionary{{"Response Code", 404},
                               {"Response Body", "<no body>"},
                               {"Response Headers", Dictionary{{"A", "b"}}},
                               {"Response Cookie Headers", List{platform::describe(cookie)}}});
  EXPECT_EQ(response.dictionaryDescription(), (Dictionary{{"Response:", shown}}));
  EXPECT_EQ(response.description(), "Response Code:404\n{\n    A = b;\n}\n<no body>");
}

}  // namespace
}  // namespace kelm
