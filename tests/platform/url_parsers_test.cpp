// The URL that our rules see is the one that libcurl requests.

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "kelm/base/url.h"

namespace kelm::testing {
namespace {

std::string part(CURLU* parsed, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(parsed, which, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owned(text, &curl_free);
  return text;
}

/// Returns libcurl's reading of the text, as "scheme host port path query".
std::string asCurlReads(const std::string& text) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), &curl_url_cleanup);
  if (curl_url_set(parsed.get(), CURLUPART_URL, text.c_str(),
                   CURLU_PATH_AS_IS | CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
    return "refused";
  std::string host = part(parsed.get(), CURLUPART_HOST);
  if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
  return part(parsed.get(), CURLUPART_SCHEME) + ' ' + host + ' ' +
         part(parsed.get(), CURLUPART_PORT) + ' ' + part(parsed.get(), CURLUPART_PATH) + ' ' +
         part(parsed.get(), CURLUPART_QUERY);
}

TEST(UrlParsers, AgreeWhereverOursAccepts) {
  const std::string_view pieces[] = {
      "http://", "https://", "/",  "//", "?", "#",   ":",  "@",    "[",   "]",   "::",   "1", "80",
      "65536",   ".",        "..", "a",  "B", "%41", "%2", "%2e",  "0x7", "=",   "&",    "-", "_",
      "~",       "127.",     "0",  "h",  "+", ";",   " ",  "\xc3", "\\",  "::1", "ffff", "!"};
  std::mt19937 random(7);
  int accepted = 0;
  for (int i = 0; i < 200000; ++i) {
    std::string text = i % 2 == 0 ? "http://h" : "https://";
    for (std::size_t count = random() % 9; count > 0; --count)
      text += pieces[random() % std::size(pieces)];
    const auto url = Url::parse(text);
    if (!url) continue;
    ++accepted;
    ASSERT_EQ(asCurlReads(url->text()), url->scheme() + ' ' + url->host() + ' ' +
                                            std::to_string(url->port()) + ' ' + url->path() + ' ' +
                                            url->query().value_or(""))
        << text;
  }
  EXPECT_GT(accepted, 10000);
}

}  // namespace
}  // namespace kelm::testing
