#include "kelm/platform/cookies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kelm/platform/cookie_jar.h"
#include "tests/support/manual_clock.h"
#include "tests/support/test_platform.h"

namespace kelm::test {
namespace {

using platform::Cookie;
using platform::CookieJar;
using platform::cookiesFromHeaders;
using testing::ElementsAre;

constexpr const char* kUrl = "https://shop.example.com/till/sale?x=1";
const Date kNow{1'700'000'000};

std::string parsed(std::string_view field, std::string_view url = kUrl) {
  const auto cookie = platform::parseCookie(field, platform::originOf(url), kNow);
  return cookie ? describe(*cookie) : "refused";
}

TEST(Cookies, FieldsAreReadAsRfc6265Says) {
  const std::string host = "; domain=shop.example.com; path=/till";
  const struct {
    const char* field;
    std::string cookie;
  } table[] = {
      {"a=b", "a=b" + host},
      {" a = b c ; ", "a=b c" + host},
      {"=b", "refused"},
      {"a=b\nc", "refused"},
      {"a=b; Path=/x; path=", "a=b" + host},
      {"a=b; DOMAIN=Example.COM", "a=b; domain=.example.com; path=/till"},
      {"a=b; Domain=.example.com", "a=b; domain=.example.com; path=/till"},
      {"a=b; Domain=com", "refused"},
      {"a=b; Domain=deep.shop.example.com", "refused"},
      {"a=b; Secure; HttpOnly; SameSite=Lax", "a=b" + host + "; secure; httponly"},
      {"a=b; Expires=Wed, 09 Jun 2021 10:18:14 GMT; Max-Age=10",
       "a=b" + host + "; expires=2023-11-14 22:13:30 +0000"},
      {"a=b; Expires=never", "a=b" + host},
  };
  for (const auto& row : table)
    EXPECT_EQ(parsed(row.field), row.cookie) << row.field;
}

TEST(Cookies, OriginDecidesDefaultsAndRights) {
  EXPECT_EQ(parsed("a=b", "http://user:pw@H:81/one"), "a=b; domain=h; path=/");
  EXPECT_EQ(parsed("a=b", "http://[::1]:81/one/two"), "a=b; domain=::1; path=/one");
  EXPECT_EQ(parsed("a=b; Domain=127.0.0.1", "http://127.0.0.1/"), "a=b; domain=127.0.0.1; path=/");
  EXPECT_EQ(parsed("a=b; Domain=0.1", "http://127.0.0.1/"), "refused");
  EXPECT_EQ(parsed("a=b; Domain=localhost", "http://localhost/"), "a=b; domain=.localhost; path=/");
  EXPECT_EQ(parsed("a=b; Secure", "http://h/"), "refused") << "set without security";
  EXPECT_EQ(parsed("a=b", ""), "a=b; path=/");
  EXPECT_EQ(parsed("a=" + std::string(5000, 'x')), "refused") << "too long";
}

TEST(Cookies, DatesAreReadInEveryFormThatServersWrite) {
  const struct {
    const char* text;
    std::optional<double> seconds;
  } table[] = {
      {"Wed, 09 Jun 2021 10:18:14 GMT", 1623233894},
      {"Wednesday, 09-Jun-21 10:18:14 GMT", 1623233894},
      {"Wed Jun  9 10:18:14 2021", 1623233894},
      {"01 Jan 69 0:0:0", 3124224000},
      {"01 Jan 70 0:0:0", 0},
      {"29 Feb 2021 00:00:00", std::nullopt},
      {"01 Jan 1600 00:00:00", std::nullopt},
      {"01 Jan 2021 24:00:00", std::nullopt},
  };
  for (const auto& row : table) {
    const auto date = platform::parseCookieDate(row.text);
    EXPECT_EQ(date ? std::optional(date->secondsSince1970) : std::nullopt, row.seconds) << row.text;
  }
}

std::vector<std::string> namesIn(const std::string& joined) {
  std::vector<std::string> names;
  for (const Cookie& cookie : cookiesFromHeaders({{"set-COOKIE", joined}}, ""))
    names.push_back(cookie.name + '=' + cookie.value);
  return names;
}

TEST(Cookies, JoinedFieldsAreTakenApartAtTheRightCommas) {
  const TestPlatform services;
  const TestScope scope(services);
  EXPECT_THAT(namesIn("a=1; Expires=Wed, 09 Jun 2021 10:18:14 GMT, b=2; Path=/"),
              ElementsAre("a=1", "b=2"));
  EXPECT_THAT(namesIn("a=1; expires=Wednesday, 09-Jun-21 10:18:14 GMT,b=2"),
              ElementsAre("a=1", "b=2"));
  EXPECT_THAT(namesIn("a=1,2,3; Path=/"), ElementsAre("a=1,2,3"));
  EXPECT_THAT(namesIn(",,, ,a=1,,"), ElementsAre("a=1,,"));
}

class CookieJarTest : public testing::Test {
 protected:
  void setAt(const char* field, const char* url) {
    const auto cookie = platform::parseCookie(field, platform::originOf(url), clock->now());
    ASSERT_TRUE(cookie) << field;
    jar.set(*cookie);
  }
  std::string sentTo(const char* url) const { return platform::cookieHeader(jar.cookiesFor(url)); }

  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  CookieJar jar{clock};
};

TEST_F(CookieJarTest, CookiesGoOnlyToWhereTheyBelong) {
  setAt("host=1; Path=/", "https://shop.example.com/");
  setAt("all=2; Path=/; Domain=example.com", "https://shop.example.com/");
  setAt("deep=3; Path=/till", "https://shop.example.com/");
  setAt("safe=4; Path=/; Secure", "https://shop.example.com/");
  const struct {
    const char* url;
    const char* sent;
  } table[] = {
      {"https://shop.example.com/till/a?b", "deep=3; host=1; all=2; safe=4"},
      {"https://shop.example.com/tillage", "host=1; all=2; safe=4"},
      {"http://shop.example.com", "host=1; all=2"},
      {"http://example.com/", "all=2"},
      {"http://badexample.com/", ""},
      {"http://example.com.evil.org/", ""},
      {"", ""},
  };
  for (const auto& row : table)
    EXPECT_EQ(sentTo(row.url), row.sent) << row.url;
}

TEST_F(CookieJarTest, LaterOnesReplaceExpireAndRemove) {
  jar.set({"b", "1\r\nX: would break the header", "h", "/", {}, {}, {}});
  setAt("a=1; Max-Age=10", "http://h/");
  setAt("a=2; Max-Age=20", "http://h/");
  EXPECT_EQ(sentTo("http://h/"), "a=2");
  clock->advance(std::chrono::seconds(20));
  EXPECT_EQ(sentTo("http://h/"), "");
  setAt("a=3", "http://h/");
  setAt("a=3; Max-Age=0", "http://h/");
  EXPECT_EQ(sentTo("http://h/"), "");
}

TEST_F(CookieJarTest, OneServerCannotFillIt) {
  setAt("mine=1", "http://mine/");
  for (int i = 0; i < 200; ++i)
    setAt(("n" + std::to_string(i) + "=x").c_str(), "http://greedy/");
  EXPECT_EQ(jar.cookiesFor("http://greedy/").size(), 50U);
  EXPECT_EQ(jar.cookiesFor("http://greedy/").front().name, "n150");
  EXPECT_EQ(sentTo("http://mine/"), "mine=1");
}

}  // namespace
}  // namespace kelm::test
