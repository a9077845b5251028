// Exchanges with a proper server: bodies, methods, headers, redirects, connections.

#include <algorithm>

#include "kelm/platform/http/cookies.h"
#include "tests/platform/url_session_world.h"

namespace kelm::testing {
namespace {

using platform::UrlRequest;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;
using ::testing::Pair;

class UrlSessionHttp : public UrlSessionTest {};

TEST_F(UrlSessionHttp, BodiesArriveWholeBothWaysAndProgressIsReportedNowAndThen) {
  const HttpServer server([](const HttpRequest& request) {
    return HttpReply{200, request.body, {}, request.target == "/chunked"};
  });
  constexpr std::int64_t kSize = (8 << 20) + 7;
  std::string body(kSize, '\0');
  for (std::size_t i = 0; i < body.size(); ++i)
    body[i] = static_cast<char>(i * 131 + (i >> 12));
  for (const auto& [target, length] : {std::pair("/", kSize), std::pair("/chunked", -1L)}) {
    const auto delegate = std::make_shared<RecordingUrlDelegate>();
    UrlRequest request = requestTo(server.url(target), "POST");
    request.body = dataOf(body);
    const auto outcome = perform(*makeSession({}, delegate), request);
    EXPECT_TRUE(outcome.text() == body);
    EXPECT_EQ(outcome.response->expectedLength, length);
    for (const auto& progress : {delegate->sent, delegate->received}) {
      EXPECT_GT(progress.size(), 2U);
      EXPECT_TRUE(std::ranges::is_sorted(progress));
    }
    EXPECT_THAT(delegate->sent.back(), Pair(kSize, kSize));
    EXPECT_THAT(delegate->received.back(), Pair(kSize, length));
    EXPECT_LE(delegate->received.size(), 129U) << "every 64 KiB";
  }
}

TEST_F(UrlSessionHttp, MethodsSendTheBodyThatTheyHave) {
  const HttpServer server;
  const struct {
    std::string method;
    std::optional<std::string> body, length;
  } table[] = {{"GET", {}, {}},        {"POST", "abc", "3"}, {"POST", {}, "0"},
               {"DELETE", "abc", "3"}, {"DELETE", {}, {}},   {"HEAD", "abc", {}}};
  const auto session = makeSession();
  for (const auto& row : table) {
    UrlRequest request = requestTo(server.url("/p?q=1"), row.method);
    if (row.body) request.body = dataOf(*row.body);
    const auto outcome = perform(*session, request);
    EXPECT_EQ(outcome.status(), 200) << row.method;
    EXPECT_EQ(outcome.text(), row.method == "HEAD" ? "" : "ok");
    const HttpRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, row.method);
    EXPECT_EQ(seen.target, "/p?q=1");
    EXPECT_EQ(seen.body, row.length ? row.body.value_or("") : "") << row.method;
    EXPECT_EQ(seen.header("Content-Length"), row.length) << row.method;
    EXPECT_EQ(seen.header("Content-Type"), std::nullopt) << "none was given";
  }
}

TEST_F(UrlSessionHttp,
       FramingHeadersAreTheTransportsOwnOthersAreSentAndThoseOfEqualNamesAreJoined) {
  const HttpServer server([](const HttpRequest&) {
    const std::string dated = "a=1; Expires=Wed, 09 Jun 2032 10:18:14 GMT";
    return HttpReply{
        200, "", {{"Set-Cookie", dated}, {"Set-Cookie", "b=2"}, {"Vary", "x"}, {"Vary", "y"}}, {}};
  });
  UrlRequest request = requestTo(server.url(), "POST");
  request.body = dataOf("abc");
  request.headers = {{"content-length", "1"}, {"Transfer-Encoding", "chunked"},
                     {"Host", "shop"},        {"X-Empty", ""},
                     {"X-Number", 12},        {"User-Agent", "till"}};
  EXPECT_EQ(perform(*makeSession(), request).status(), 200);
  const HttpRequest seen = server.requests().back();
  EXPECT_EQ(seen.body, "abc");
  const std::pair<const char*, std::optional<std::string>> kSent[] = {
      {"Content-Length", "3"}, {"Transfer-Encoding", {}}, {"Host", "shop"},
      {"X-Empty", ""},         {"X-Number", "12"},        {"User-Agent", "till"}};
  for (const auto& [name, value] : kSent)
    EXPECT_EQ(seen.header(name), value) << name;
  UrlRequest expecting = requestTo(server.url());
  expecting.headers = {{"Expect", "100-continue"}};
  EXPECT_EQ(perform(*makeSession(), expecting).status(), 200);
  EXPECT_EQ(server.requests().back().header("Expect"), "100-continue");
  const auto plain = get(server.url());
  EXPECT_EQ(*plain.response->headers.find("Vary"), Value("x, y"));
  const TestPlatform services;
  const TestScope scope(services);
  EXPECT_EQ(platform::cookiesFromHeaders(plain.response->headers, server.url()).size(), 2U);
  EXPECT_EQ(server.requests().back().header("User-Agent").value_or("").substr(0, 9), "KelmCore/");
}

TEST_F(UrlSessionHttp, RedirectsKeepOrChangeTheMethodByTheirStatus) {
  const HttpServer server([](const HttpRequest& request) {
    if (request.target == "/end") return HttpReply{200, "end", {}, false};
    const std::string status = request.target.substr(1);
    return HttpReply{std::stoi(status), "moved", {{"Location", "end"}}, false};
  });
  const struct {
    int status;
    const char *method, *expectedMethod, *expectedBody;
  } table[] = {{301, "POST", "GET", ""},   {302, "POST", "GET", ""},
               {303, "PUT", "GET", ""},    {307, "POST", "POST", "abc"},
               {308, "PUT", "PUT", "abc"}, {302, "PUT", "PUT", "abc"}};
  for (const auto& row : table) {
    UrlRequest request = requestTo(server.url('/' + std::to_string(row.status)), row.method);
    request.body = dataOf("abc");
    request.headers = {{"Content-Type", "text/x"}, {"Authorization", "secret"}};
    const auto outcome = perform(*makeSession(), request);
    EXPECT_EQ(outcome.text(), "end") << row.status;
    EXPECT_EQ(outcome.response->url, server.url("/end"));
    const HttpRequest seen = server.requests().back();
    EXPECT_EQ(seen.method, row.expectedMethod) << row.status;
    EXPECT_EQ(seen.body, row.expectedBody) << row.status;
    EXPECT_EQ(seen.header("Content-Type").has_value(), *row.expectedBody != '\0');
    EXPECT_EQ(seen.header("Authorization"), "secret") << "the same server";
  }
}

TEST_F(UrlSessionHttp, LocationIsResolvedHoweverItIsWritten) {
  const std::pair<const char*, const char*> table[] = {
      {"?x=2", "/a/b?x=2"},
      {"c d|é", "/a/c%20d%7C%C3%A9"},
      {"//127.0.0.1:%PORT/../e", "/e"},
      {"/f?g=[1]#h", "/f?g=%5B1%5D"},
  };
  for (const auto& [location, target] : table) {
    int port = 0;
    const HttpServer server([&, location = std::string(location)](const HttpRequest& request) {
      if (request.target != "/a/b") return HttpReply{};
      std::string to = location;
      if (const auto at = to.find("%PORT"); at != std::string::npos)
        to.replace(at, 5, std::to_string(port));
      return HttpReply{302, "", {{"Location", to}}, false};
    });
    port = server.port();
    EXPECT_EQ(get(server.url("/a/./b#f")).response->url, server.url(target)) << location;
  }
}

TEST_F(UrlSessionHttp, CredentialsDoNotFollowToAnotherServer) {
  const HttpServer target;
  const HttpServer server([&](const HttpRequest&) {
    return HttpReply{302, "", {{"Location", target.url("/there")}}, false};
  });
  UrlRequest request = requestTo(server.url());
  const Dictionary headers = {{"authorization", "secret"},  {"Cookie", "s=1"},  {"X-Other", "kept"},
                              {"Proxy-Authorization", "p"}, {"X-API-Key", "k"}, {"Host", "first"}};
  request.headers = headers;
  request.sensitiveHeaders = {"X-Api-Key"};
  EXPECT_EQ(perform(*makeSession(), request).status(), 200);
  UrlSessionConfiguration configuration;
  configuration.additionalHeaders = headers;
  configuration.sensitiveHeaders = std::exchange(request.sensitiveHeaders, {});
  request.headers = {};
  EXPECT_EQ(perform(*makeSession(configuration), request).status(), 200);
  for (const HttpRequest& seen : target.requests()) {
    for (const auto* name : {"Authorization", "Cookie", "Proxy-Authorization", "X-Api-Key"})
      EXPECT_EQ(seen.header(name), std::nullopt);
    EXPECT_NE(seen.header("Host"), "first");
    EXPECT_EQ(seen.header("X-Other"), "kept");
  }
}

TEST_F(UrlSessionHttp, RedirectsEndAtALoopAtForeignSchemesAndWhenUnwanted) {
  const HttpServer server([](const HttpRequest& request) {
    const char* const location = request.target == "/file" ? "file:///etc/passwd" : "/loop";
    return HttpReply{302, "moved", {{"Location", location}, {"Set-Cookie", "a=1; Path=/"}}, false};
  });
  const auto loop = get(server.url("/loop"));
  EXPECT_EQ(loop.code(), url_error::kTooManyRedirects);
  EXPECT_EQ(loop.status(), 302);
  EXPECT_EQ(server.requests().size(), 17U);
  EXPECT_EQ(get(server.url("/file")).code(), url_error::kUnsupportedUrl);
  UrlSessionConfiguration configuration;
  configuration.followRedirects = false;
  configuration.cookies = sessions->makeCookieStorage();
  const auto unfollowed = perform(*makeSession(configuration), requestTo(server.url("/loop")));
  EXPECT_EQ(unfollowed.status(), 302);
  EXPECT_EQ(unfollowed.text(), "moved");
  EXPECT_EQ(configuration.cookies->cookiesFor(server.url()).size(), 1U);
}

TEST_F(UrlSessionHttp, ThrownFailuresOfTheHostAreReportedAndHarmless) {
  const HttpServer server;
  const auto delegate = std::make_shared<RecordingUrlDelegate>();
  delegate->isFaulty = true;
  const auto session = makeSession({}, delegate);
  session
      ->makeDataTask(requestTo(server.url()),
                     [](Data, auto, auto) { throw std::runtime_error("from the completion"); })
      ->resume();
  EXPECT_EQ(perform(*makeSession(), requestTo(server.url())).status(), 200);
  EXPECT_EQ(perform(*session, requestTo(server.url())).text(), "ok");
  EXPECT_THAT(console->lines(), ::testing::UnorderedElementsAre("LOG ERROR from the delegate",
                                                                "LOG ERROR from the completion",
                                                                "LOG ERROR from the delegate"));
}

}  // namespace
}  // namespace kelm::testing
