#include "kelm/platform/http/cookies.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "kelm/platform/http/cookie_jar.h"
#include "kelm/testing/manual_clock.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

TEST(Cookies, FieldsAreReadAsRfc6265SaysByTheRightsOfTheirOrigin) {
  const std::string host = "; domain=shop.example.com; path=/till";
  const struct {
    std::string field, cookie;
    const char* url = "https://shop.example.com/till/sale?x=1";
  } table[] = {
      {" a = b c ; ", "a=b c" + host},
      {"=b", "refused"},
      {"a=b\nc", "refused"},
      {"a=b; Path=/x; path=", "a=b" + host},
      {"a=b; DOMAIN=.Example.COM", "a=b; domain=.example.com; path=/till"},
      {"a=b; Domain=com", "refused"},
      {"a=b; Domain=deep.shop.example.com", "refused"},
      {"a=b; Secure; HttpOnly; SameSite=Lax", "a=b" + host + "; secure; httponly"},
      {"a=b; Expires=Wed, 09 Jun 2021 10:18:14 GMT; Max-Age=10",
       "a=b" + host + "; expires=2023-11-14 22:13:30 +0000"},
      {"a=b; Expires=never", "a=b" + host},
      {"a=b", "a=b; domain=h; path=/", "http://user:pw@H:81/one"},
      {"a=b", "a=b; domain=::1; path=/one", "http://[::1]:81/one/two"},
      {"a=b; Domain=127.0.0.1", "a=b; domain=127.0.0.1; path=/", "http://127.0.0.1/"},
      {"a=b; Domain=0.1", "refused", "http://127.0.0.1/"},
      {"a=b; Domain=localhost", "a=b; domain=.localhost; path=/", "http://localhost/"},
      {"a=b; Secure", "refused", "http://h/"},
      {"a=b", "a=b; path=/", ""},
      {"a=" + std::string(5000, 'x'), "refused"},
  };
  for (const auto& row : table) {
    const auto cookie =
        platform::parseCookie(row.field, platform::originOf(row.url), ManualClock().now());
    EXPECT_EQ(cookie ? describe(*cookie) : "refused", row.cookie) << row.field;
  }
}

TEST(Cookies, DatesAreReadInEveryFormThatServersWrite) {
  const std::pair<const char*, std::optional<double>> table[] = {
      {"Wed, 09 Jun 2021 10:18:14 GMT", 1623233894},
      {"Wednesday, 09-Jun-21 10:18:14 GMT", 1623233894},
      {"Wed Jun  9 10:18:14 2021", 1623233894},
      {"01 Jan 69 0:0:0", 3124224000},
      {"01 Jan 70 0:0:0", 0},
      {"29 Feb 2021 00:00:00", std::nullopt},
      {"01 Jan 1600 00:00:00", std::nullopt},
      {"01 Jan 2021 24:00:00", std::nullopt},
  };
  for (const auto& [text, seconds] : table) {
    const auto date = platform::parseCookieDate(text);
    EXPECT_EQ(date ? std::optional(date->secondsSince1970) : std::nullopt, seconds) << text;
  }
}

TEST(Cookies, JoinedFieldsAreTakenApartAtTheRightCommas) {
  const TestPlatform services;
  const TestScope scope(services);
  const std::pair<const char*, const char*> table[] = {
      {"a=1; Expires=Wed, 09 Jun 2021 10:18:14 GMT, b=2; Path=/", "a=1 b=2 "},
      {"a=1; expires=Wednesday, 09-Jun-21 10:18:14 GMT,b=2", "a=1 b=2 "},
      {"a=1,2,3; Path=/", "a=1,2,3 "},
      {",,, ,a=1,,", "a=1,, "},
  };
  for (const auto& [joined, expected] : table) {
    std::string found;
    for (const auto& cookie : platform::cookiesFromHeaders({{"set-COOKIE", joined}}, ""))
      found += cookie.name + '=' + cookie.value + ' ';
    EXPECT_EQ(found, expected);
  }
}

class CookieJarTest : public ::testing::Test {
 protected:
  void setAt(const char* field, const char* url) {
    const auto cookie = platform::parseCookie(field, platform::originOf(url), clock->now());
    ASSERT_TRUE(cookie) << field;
    jar.set(*cookie);
  }
  std::string sentTo(const char* url) const { return platform::cookieHeader(jar.cookiesFor(url)); }

  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  platform::ScopedService<platform::Clock> clockScope{clock};
  platform::CookieJar jar;
};

TEST_F(CookieJarTest, CookiesGoOnlyToWhereTheyBelong) {
  setAt("host=1; Path=/", "https://shop.example.com/");
  setAt("all=2; Path=/; Domain=example.com", "https://shop.example.com/");
  setAt("deep=3; Path=/till", "https://shop.example.com/");
  setAt("safe=4; Path=/; Secure", "https://shop.example.com/");
  const std::pair<const char*, const char*> table[] = {
      {"https://shop.example.com/till/a?b", "deep=3; host=1; all=2; safe=4"},
      {"https://shop.example.com/tillage", "host=1; all=2; safe=4"},
      {"http://shop.example.com", "host=1; all=2"},
      {"http://example.com/", "all=2"},
      {"http://badexample.com/", ""},
      {"http://example.com.evil.org/", ""},
      {"", ""},
  };
  for (const auto& [url, sent] : table)
    EXPECT_EQ(sentTo(url), sent) << url;
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
}  // namespace kelm::testing
