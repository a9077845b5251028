#include "kelm/base/url.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace kelm::testing {
namespace {

std::string normal(std::string_view text) {
  const auto url = Url::parse(text);
  return url ? url->text() : "refused";
}

TEST(Url, EveryWayToWriteItHasOneNormalForm) {
  const std::pair<const char*, const char*> table[] = {
      {"HTTP://Shop.Example.COM", "http://shop.example.com/"},
      {"http://h:80/a?b#c", "http://h/a?b"},
      {"https://h:0443?", "https://h/?"},
      {"https://h:/", "https://h/"},
      {"http://h:443/", "http://h:443/"},
      {"http://u:p%40@h:65535/", "http://u:p%40@h:65535/"},
      {"http://h./a/./b/../../c/..", "http://h./"},
      {"http://h/a/b/..", "http://h/a/"},
      {"http://h/../%2e%2E//x;y=,:@!$&'()*+", "http://h/%2e%2E//x;y=,:@!$&'()*+"},
      {"http://127.0.0.1/", "http://127.0.0.1/"},
      {"http://[::FFFF:7F00:1]/", "http://[::ffff:127.0.0.1]/"},
      {"http://[0:0:0:0:0:0:0:0]:81/", "http://[::]:81/"},
      {"http://[2001:0DB8:0:0:1:0:0:1]/", "http://[2001:db8::1:0:0:1]/"},
      {"http://[1:0:3:4:5:6:7:8]/", "http://[1:0:3:4:5:6:7:8]/"},
      {"http://[1:2:3:4:5:6:1.2.3.4]/", "http://[1:2:3:4:5:6:102:304]/"},
      {"http://[1::]/", "http://[1::]/"},
      {"ftp://h", "ftp://h/"},
  };
  for (const auto& [text, form] : table) {
    EXPECT_EQ(normal(text), form) << text;
    EXPECT_EQ(normal(form), form) << "stays";
  }
}

TEST(Url, WhatIsMalformedOrReadInSeveralWaysIsRefused) {
  std::istringstream table(
      "h h/p //h http:h http:/h http:///h http:// http://:80/ http://u@/ 1http://h/ :/h http://?a "
      "http://h/|  http://h/\" http://h/<> http://h/{} http://h/^ http://h/` http://h/\\ "
      "http://h/[] "
      "http://h?[] http://h/\x7f http://h/é http://h/% http://h/%4 http://h/%zz http://h/#a#b "
      "http://h:65536/ http://h:+80/ http://h:-1/ http://h:8a/ http://h:1:2/ http://a@b@h/ "
      "http://h%68/ http://a!b/ http://a$b/ http://a*b/ http://a,b/ http://a;b/ http://(a)/ "
      "http://a+b/ "
      "http://a..b/ http://.a/ http://./ http://127.1/ http://0177.0.0.1/ http://0x7f000001/ "
      "http://127.0.0.256/ http://1.2.3.4.5/ http://127.0.0.1./ http://a.1/ http://a.0x1/ "
      "http://01.2.3.4/ http://[]/ http://[1.2.3.4]/ http://[::1 http://[::1]x/ http://a[::1]/ "
      "http://[fe80::1%25eth0]/ http://[::g]/ http://[1:2:3:4:5:6:7]/ http://[1:2:3:4:5:6:7:8:9]/ "
      "http://[1::2::3]/ http://[12345::]/ http://[1:2:3:4:5:6:7:8::]/ http://[::1.2.3]/ "
      "http://[1.2.3.4::]/ http://[:1::]/ http://[::1:]/ http://[1:]/");
  for (std::string text; table >> text;)
    EXPECT_EQ(normal(text), "refused") << text;
  EXPECT_EQ(normal(std::string_view("http://h/\0", 10)), "refused");
  EXPECT_EQ(normal("http://h/a b"), "refused");
}

TEST(Url, OriginKnowsDefaultPortsAndPartsAreAsTheyAreRequested) {
  EXPECT_EQ(Url::parse("https://H")->origin(), Url::parse("https://u@h:443/x?y")->origin());
  EXPECT_NE(Url::parse("https://h")->origin(), Url::parse("http://h:443")->origin());
  const auto url = Url::parse("https://u:p@[::1]:8/a/b?q#f");
  EXPECT_EQ(url->origin(), "https://[::1]:8");
  EXPECT_EQ(url->host(), "::1");
  EXPECT_EQ(url->userInfo(), "u:p");
  EXPECT_EQ(url->path() + '?' + url->query().value(), "/a/b?q");
  EXPECT_TRUE(url->isSecure());
}

TEST(Url, ReferencesAreResolvedAsRfc3986Section54Shows) {
  const auto base = Url::parse("http://a/b/c/d;p?q");
  const std::pair<const char*, const char*> table[] = {
      {"g:h", "refused"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g/"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q"},
      {";x", "http://a/b/c/;x"},
      {"", "http://a/b/c/d;p?q"},
      {".", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../../../g", "http://a/g"},
      {"g;x=1/../y", "http://a/b/c/y"},
      {"g?y/./x", "http://a/b/c/g?y/./x"},
      {"https://h:443", "https://h/"},
      {"a b", "refused"},
      {"//g:x", "refused"},
  };
  for (const auto& [reference, resolved] : table) {
    const auto url = base->resolve(reference);
    EXPECT_EQ(url ? url->text() : "refused", resolved) << reference;
  }
}

}  // namespace
}  // namespace kelm::testing
