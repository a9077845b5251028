// Options that a host may set on a session: ways to the server, limits, compression, what was
// measured.

#include "kelm/testing/servers/raw_server.h"
#include "tests/platform/url_session_world.h"

namespace kelm::testing {
namespace {

using platform::UrlRequest;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;

class UrlSessionOptions : public UrlSessionTest {
 protected:
  UrlOutcome perform(const UrlSessionConfiguration& asked, const std::string& url) const {
    return UrlSessionTest::perform(*makeSession(asked), requestTo(url));
  }
  UrlSessionConfiguration configuration;
};

TEST_F(UrlSessionOptions, ProxyIsAskedForTheWholeUrlAndItsFailureHasItsOwnError) {
  const HttpServer proxy([](const HttpRequest& request) {
    return HttpReply{
        200, request.target + request.header("Proxy-Authorization").value_or(""), {}, {}};
  });
  const HttpServer direct;
  const std::string place = "127.0.0.1:" + std::to_string(proxy.port());
  configuration.proxy = "http://u:p@" + place;
  configuration.noProxyFor = {"localhost"};
  EXPECT_EQ(perform(configuration, "http://shop.test/x").text(), "http://shop.test/xBasic dTpw");
  EXPECT_EQ(perform(configuration, "http://localhost:" + std::to_string(direct.port())).text(),
            "ok");
  configuration.proxy = RawServer([](auto&) {}).url();
  EXPECT_EQ(perform(configuration, "http://shop.test/").code(), url_error::kProxyFailed);
}

TEST_F(UrlSessionOptions, GivenAddressesTakeThePlaceOfNamesAndKeepTheHostHeader) {
  const HttpServer server;
  const std::string place = "pay.invalid:" + std::to_string(server.port());
  configuration.addresses[place] = "127.0.0.1";
  EXPECT_EQ(perform(configuration, "http://" + place).text(), "ok");
  EXPECT_EQ(server.requests().back().header("Host"), place);
}

TEST_F(UrlSessionOptions, CompressedAnswersAreUnpackedUpToTheLimit) {
  // "aaaaaaaaaa" by gzip
  const std::string packed("\x1f\x8b\x08\0\0\0\0\0\2\3KL\x84\1\0\xf0\xcd\x11L\x0a\0\0\0", 23);
  const HttpServer server([&](const HttpRequest& request) {
    if (!request.header("Accept-Encoding")) return HttpReply{200, "plain", {}, {}};
    return HttpReply{200, packed, {{"Content-Encoding", "gzip"}}, {}};
  });
  EXPECT_EQ(get(server.url()).text(), "plain");
  configuration.acceptsCompressed = true;
  EXPECT_EQ(perform(configuration, server.url()).text(), "aaaaaaaaaa");
  configuration.maxBodyBytes = 9;
  EXPECT_EQ(perform(configuration, server.url()).code(), url_error::kDataLengthExceedsMaximum);
}

TEST_F(UrlSessionOptions, EachTimeoutTellsWhichItWas) {
  const RawServer silent([](RawServer::Connection& c) { c.waitForClose(); });
  const auto limitOf = [&](const std::string& url) {
    return *perform(configuration, url).error->userInfo.find("NSDebugDescription");
  };
  configuration.connectTimeoutSeconds = 0.05;
  EXPECT_EQ(limitOf(silent.url("/", "https")), Value("limit of connecting"));
  configuration.requestTimeoutSeconds = 0.05;
  EXPECT_EQ(limitOf(silent.url()), Value("limit of silence"));
  configuration.requestTimeoutSeconds = 60;
  configuration.resourceTimeoutSeconds = 0.05;
  EXPECT_EQ(limitOf(silent.url()), Value("limit of the whole exchange"));
}

TEST_F(UrlSessionOptions, RedirectsEndAtTheGivenNumber) {
  const HttpServer server([](const HttpRequest&) {
    return HttpReply{302, "", {{"Location", "/"}}, false};
  });
  configuration.maxRedirects = 2;
  EXPECT_EQ(perform(configuration, server.url()).code(), url_error::kTooManyRedirects);
  EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(UrlSessionOptions, ResponseTellsWhatWasMeasured) {
  const HttpServer server;
  const auto session = makeSession();
  UrlRequest request = requestTo(server.url(), "POST");
  request.body = dataOf("abc");
  for (const bool reused : {false, true}) {
    const auto measures = UrlSessionTest::perform(*session, request).response->measures;
    EXPECT_EQ(measures.reusedConnection, reused);
    EXPECT_EQ(measures.protocol, "HTTP/1.1");
    EXPECT_EQ(measures.bytesSent, 3);
    EXPECT_EQ(measures.bytesReceived, 2);
    EXPECT_EQ(measures.connected > 0, !reused);
    EXPECT_GT(measures.firstByte, measures.connected);
    EXPECT_GE(measures.whole, measures.firstByte);
  }
}

TEST(CurlCommand, CanBePastedAndHoldsNoSecret) {
  UrlRequest request = requestTo("https://u:p@h/?a=1", "POST");
  request.headers = {{"authorization", "t"}, {"X-Key", "k"}, {"X-It's", 7}};
  request.sensitiveHeaders = {"x-key"};
  request.body = dataOf("it's\n");
  EXPECT_EQ(platform::curlCommand(request),
            "curl -X 'POST' -H 'authorization: ***' -H 'X-Key: ***' -H 'X-It'\\''s: 7' "
            "--data-binary 'it'\\''s\n' 'https://u:***@h/?a=1'");
  request = requestTo("http://h/");
  request.body = Data{1, 0, 2};
  EXPECT_EQ(platform::curlCommand(request),
            "curl -X 'GET' --data-binary @body-of-3-bytes 'http://h/'");
}

}  // namespace
}  // namespace kelm::testing
