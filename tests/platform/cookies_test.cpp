#include "kelm/platform/http/cookies.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "kelm/platform/http/cookie_jar.h"
#include "kelm/testing/manual_clock.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

struct Rule {
  const char* setAt;  // the URLs of the answers, a blank between two
  const char*
      fields;  // their "Set-Cookie" fields, one a line, the first for the first URL and so on
  const char* askedAt;
  const char* sent;
};

constexpr const char* kShop = "https://shop.example.com/till/sale?x=1";

const Rule kRules[] = {
    // Names and values (section 5.2).
    {kShop, "a=b", kShop, "a=b"},
    {kShop, " a = b c ; ", kShop, "a=b c"},
    {kShop, "\ta\t=\tb\t", kShop, "a=b"},
    {kShop, "a=", kShop, "a="},
    {kShop, "a=b=c", kShop, "a=b=c"},
    {kShop, "a=\"b c\"", kShop, "a=\"b c\""},
    {kShop, "a=b,c", kShop, "a=b,c"},
    {kShop, "=b", kShop, ""},
    {kShop, "b", kShop, ""},
    {kShop, ";a=b", kShop, ""},
    {kShop, "a=b\x01", kShop, ""},
    {kShop, "a\x7f=b", kShop, ""},
    {kShop, "a=\xc3\xa9", kShop, "a=\xc3\xa9"},
    {kShop, "a=b;;;Path=/", kShop, "a=b"},
    {kShop, "a=b; Unknown=1; Path=/", kShop, "a=b"},
    // Which is the same cookie (section 5.3, step 11): names with case, domain and path.
    {kShop, "a=1\na=2", kShop, "a=2"},
    {kShop, "a=1\nA=2", kShop, "a=1; A=2"},
    {kShop, "a=1\nb=2\na=3", kShop, "a=3; b=2"},
    {kShop, "a=1; Path=/\na=2; Path=/till", kShop, "a=2; a=1"},
    {kShop, "a=1\na=2; Domain=shop.example.com", kShop, "a=1; a=2"},
    {kShop, "a=1\na=; Max-Age=0", kShop, ""},
    {kShop, "a=1; Path=/\na=; Path=/till; Max-Age=0", kShop, "a=1"},
    // Domain (sections 5.1.3 and 5.2.3).
    {kShop, "a=b", "https://example.com/till", ""},
    {kShop, "a=b", "https://deep.shop.example.com/till", ""},
    {kShop, "a=b; Domain=example.com; Path=/", "https://example.com/", "a=b"},
    {kShop, "a=b; DOMAIN=.Example.COM; Path=/", "https://other.example.com/", "a=b"},
    {kShop, "a=b; Domain=example.com; Path=/", "https://badexample.com/", ""},
    {kShop, "a=b; Domain=example.com; Path=/", "https://example.com.evil.org/", ""},
    {kShop, "a=b; Domain=shop.example.com", "https://deep.shop.example.com/till", "a=b"},
    {kShop, "a=b; Domain=deep.shop.example.com", kShop, ""},
    {kShop, "a=b; Domain=other.com", kShop, ""},
    {kShop, "a=b; Domain=other.com; Domain=example.com", kShop, "a=b"},
    {kShop, "a=b; Domain=example.com; Domain=other.com", kShop, ""},
    {kShop, "a=b; Domain=", kShop, "a=b"},
    {kShop, "a=b; Domain", kShop, "a=b"},
    {kShop, "a=b; Domain=.", kShop, "a=b"},
    {kShop, "a=b; Domain=..example.com", kShop, ""},
    {kShop, "a=b; Domain=example.com.", kShop, ""},
    {kShop, "a=b; Domain=hop.example.com", kShop, ""},
    {"https://SHOP.example.com/", "a=b", "https://shop.EXAMPLE.com/", "a=b"},
    {"http://127.0.0.1/", "a=b; Domain=127.0.0.1", "http://127.0.0.1/", "a=b"},
    {"http://127.0.0.1/", "a=b; Domain=0.1", "http://127.0.0.1/", ""},
    {"http://127.0.0.1/", "a=b; Domain=127.0.0.1", "http://1.127.0.0.1.example/", ""},
    {"http://[::1]:81/x", "a=b", "http://[0::1]:82/y", "a=b"},
    {"http://[::1]/", "a=b; Domain=::1", "http://[::1]/", "a=b"},
    // Ports and user names do not count.
    {"http://u:p@h:81/", "a=b", "http://h:82/", "a=b"},
    // Public suffixes.
    {kShop, "a=b; Domain=com", kShop, ""},
    {kShop, "a=b; Domain=COM", kShop, ""},
    {"https://shop.co.uk/", "a=b; Domain=co.uk", "https://shop.co.uk/", ""},
    {"https://shop.co.uk/", "a=b; Domain=CO.UK", "https://shop.co.uk/", ""},
    {"https://shop.co.uk/", "a=b; Domain=shop.co.uk", "https://a.shop.co.uk/", "a=b"},
    {"https://co.uk/", "a=b; Domain=co.uk", "https://co.uk/", "a=b"},
    {"https://co.uk/", "a=b; Domain=co.uk", "https://shop.co.uk/", ""},
    {"https://me.github.io/", "a=b; Domain=github.io", "https://me.github.io/", ""},
    {"https://a.b.kobe.jp/", "a=b; Domain=b.kobe.jp", "https://a.b.kobe.jp/", ""},
    {"https://a.city.kobe.jp/", "a=b; Domain=city.kobe.jp", "https://city.kobe.jp/", "a=b"},
    {"http://till/", "a=b; Domain=till", "http://till/", "a=b"},
    {"http://a.till/", "a=b; Domain=till", "http://a.till/", ""},
    {"http://localhost/", "a=b; Domain=localhost", "http://localhost/", "a=b"},
    {"http://localhost/", "a=b; Domain=localhost", "http://a.localhost/", ""},
    // Path (sections 5.1.4 and 5.2.4).
    {kShop, "a=b", "https://shop.example.com/till", "a=b"},
    {kShop, "a=b", "https://shop.example.com/till/", "a=b"},
    {kShop, "a=b", "https://shop.example.com/till/deep/er", "a=b"},
    {kShop, "a=b", "https://shop.example.com/tillage", ""},
    {kShop, "a=b", "https://shop.example.com/", ""},
    {kShop, "a=b", "https://shop.example.com/TILL/", ""},
    {kShop, "a=b; Path=/till/", "https://shop.example.com/till", ""},
    {kShop, "a=b; Path=/till/", "https://shop.example.com/till/x", "a=b"},
    {kShop, "a=b; Path=/elsewhere", "https://shop.example.com/elsewhere", "a=b"},
    {kShop, "a=b; Path=relative", kShop, "a=b"},
    {kShop, "a=b; Path=", "https://shop.example.com/", ""},
    {kShop, "a=b; Path=/x; Path=", kShop, "a=b"},
    {kShop, "a=b; Path=/x; Path=/till", kShop, "a=b"},
    {kShop, "a=b; path = /till ", kShop, "a=b"},
    {"https://h/a/b/../c", "a=b", "https://h/a/", "a=b"},
    {"https://h", "a=b", "https://h/x", "a=b"},
    {"https://h/one", "a=b", "https://h/x", "a=b"},
    {kShop, "a=1; Path=/\nb=2; Path=/till/sale\nc=3; Path=/till", kShop, "b=2; c=3; a=1"},
    {kShop, "a=1; Path=/\nb=2; Path=/", "https://shop.example.com/", "a=1; b=2"},
    // Life time (sections 5.2.1 and 5.2.2); the clock stands at 2023-11-14 22:13:20.
    {kShop, "a=b; Expires=Tue, 14 Nov 2023 22:13:21 GMT", kShop, "a=b"},
    {kShop, "a=b; Expires=Tue, 14 Nov 2023 22:13:20 GMT", kShop, ""},
    {kShop, "a=b; Expires=never", kShop, "a=b"},
    {kShop, "a=b; Expires=Wed, 09 Jun 2021 10:18:14 GMT; Max-Age=10", kShop, "a=b"},
    {kShop, "a=b; Max-Age=0; Expires=Wed, 09 Jun 2032 10:18:14 GMT", kShop, ""},
    {kShop, "a=b; Max-Age=-1", kShop, ""},
    {kShop, "a=b; Max-Age=1x", kShop, "a=b"},
    {kShop, "a=b; Max-Age=", kShop, "a=b"},
    {kShop, "a=b; Max-Age=99999999999999999999", kShop, "a=b"},
    {kShop, "a=b; Max-Age=0; Max-Age=9", kShop, "a=b"},
    {kShop, "a=b; Expires=31 Feb 2021 00:00:00", kShop, "a=b"},
    // Secure and HttpOnly (sections 5.2.5 and 5.2.6).
    {kShop, "a=b; Secure; Path=/", "http://shop.example.com/", ""},
    {kShop, "a=b; SECURE=no; Path=/", "http://shop.example.com/", ""},
    {"http://h/", "a=b; Secure", "https://h/", ""},
    {"http://localhost/", "a=b; Secure", "https://localhost/", ""},
    {kShop, "a=b; HttpOnly; SameSite=Strict", kShop, "a=b"},
    {"http://h/", "a=b", "https://h/", "a=b"},
    {"https://h/ http://h/", "a=1; Secure\na=2", "https://h/", "a=1"},
    {"https://h/ http://h/", "a=1; Secure\na=2; Max-Age=0", "https://h/", "a=1"},
    {"https://h/ http://h/", "a=1; Secure; Path=/x\na=2; Path=/", "https://h/x", "a=1; a=2"},
    {"https://h/ http://h/", "a=1; Secure\na=2; Path=/x", "https://h/x", "a=1"},
    {"https://h/ https://h/", "a=1; Secure\na=2", "http://h/", "a=2"},
    {"https://a.b.com/ http://a.b.com/", "a=1; Secure\na=2; Domain=b.com", "https://a.b.com/",
     "a=1"},
    {"https://a.b.com/ http://c.b.com/", "a=1; Secure\na=2; Domain=b.com", "https://a.b.com/",
     "a=1"},
    {"https://a.b.com/ http://c.b.com/", "a=1; Secure\nb=2; Domain=b.com", "https://a.b.com/",
     "a=1; b=2"},
    // Prefixes, in any letter case.
    {kShop, "__Secure-a=1; Secure", kShop, "__Secure-a=1"},
    {kShop, "__Secure-a=1", kShop, ""},
    {kShop, "__sEcUrE-a=1", kShop, ""},
    {kShop, "__Host-a=1; Secure; Path=/", kShop, "__Host-a=1"},
    {kShop, "__Host-a=1; Secure", kShop, ""},
    {kShop, "__HOST-a=1; Secure; Path=/till", kShop, ""},
    {kShop, "__Host-a=1; Secure; Path=/; Domain=example.com", kShop, ""},
    {kShop, "__Host-a=1; Path=/", kShop, ""},
};

TEST(Cookies, EveryRuleOfRfc6265HoldsFromTheAnswerToTheNextRequest) {
  const platform::ScopedService<platform::Clock> clock{std::make_shared<ManualClock>()};
  for (const Rule& rule : kRules) {
    platform::CookieJar jar;
    std::istringstream origins(rule.setAt), fields(rule.fields);
    std::string origin;
    for (std::string field; std::getline(fields, field);) {
      origins >> origin;
      const auto url = Url::parse(origin);
      const auto now = platform::current<platform::Clock>()->now();
      if (const auto cookie = platform::parseCookie(field, url, now))
        jar.setReceived(*cookie, *url);
    }
    EXPECT_EQ(platform::cookieHeader(jar.cookiesFor(rule.askedAt)), rule.sent)
        << rule.setAt << '\n'
        << rule.fields << '\n'
        << rule.askedAt;
  }
}

TEST(Cookies, AttributesAreKeptAndDescribed) {
  const std::pair<std::string, const char*> table[] = {
      {"a=b; Secure; HttpOnly; SameSite=LAX; Max-Age=10; Domain=example.com",
       "a=b; domain=.example.com; path=/till; expires=2023-11-14 22:13:30 +0000; secure; httponly; "
       "samesite=lax"},
      {"a=b; SameSite=Strict; SameSite=odd", "a=b; domain=shop.example.com; path=/till"},
      {"a=" + std::string(4094, 'x'), "a=xx"},
      {"a=" + std::string(4095, 'x'), "refused"},
  };
  for (const auto& [field, described] : table) {
    const auto cookie = platform::parseCookie(field, Url::parse(kShop), ManualClock().now());
    const std::string text = cookie ? describe(*cookie) : "refused";
    EXPECT_EQ(text.substr(0, field.size() > 4000 ? 4 + 3 * !cookie : std::string::npos), described);
  }
  EXPECT_EQ(describe(*platform::parseCookie("a=b; Domain=any", std::nullopt, {})),
            "a=b; domain=.any; path=/");
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

TEST(CookieJar, OneServerCannotFillItAndExpiredOnesGiveWayFirst) {
  const auto clock = std::make_shared<ManualClock>();
  const platform::ScopedService<platform::Clock> scope{clock};
  platform::CookieJar jar;
  const auto set = [&](const std::string& name, const char* domain, std::optional<Date> expires) {
    jar.set({name, "x", domain, "/", expires, {}, {}, {}});
  };
  set("mine", "mine", {});
  set("b\r\nX", "mine", {});
  for (int i = 0; i < 200; ++i)
    set('n' + std::to_string(i), "greedy", {});
  EXPECT_EQ(jar.cookiesFor("http://greedy/").size(), 50U);
  EXPECT_EQ(jar.cookiesFor("http://greedy/").front().name, "n150");
  EXPECT_EQ(platform::cookieHeader(jar.cookiesFor("http://mine/")), "mine=x") << "no line break";
  set("n199", "greedy", Date{clock->now().secondsSince1970 + 20});
  clock->advance(std::chrono::seconds(20));
  set("late", "greedy", {});
  EXPECT_EQ(jar.cookiesFor("http://greedy/").front().name, "n150");
  EXPECT_EQ(jar.cookiesFor("http://greedy/").back().name, "late");
}

}  // namespace
}  // namespace kelm::testing
