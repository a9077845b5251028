// What every kind of URL session does, this system's and the one in memory.

#include "tests/platform/url_session_world.h"

namespace kelm::testing {
namespace {

using platform::UrlRequest;
using platform::UrlSession;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;
using ::testing::ElementsAre;
using ::testing::Pair;

class UrlSessionContract : public UrlSessionTest,
                           public ::testing::WithParamInterface<const char*> {
 protected:
  UrlSessionContract() { sessions = services.urlSessions; }
  void serve(const HttpServer::Handler& handler) {
    handler_ = handler;
    if (std::string_view(GetParam()) == "memory") return;
    server = std::make_unique<HttpServer>(handler);
    sessions = platform::UrlSessions::makeSystem();
    root = server->url("");
  }
  std::string targetOf(const UrlRequest& request) const { return request.url->substr(root.size()); }
  /// What the server was asked for.
  std::vector<std::string> targets() const {
    std::vector<std::string> targets;
    for (const UrlRequest& request : services.urlSessions->requests())
      targets.push_back(targetOf(request));
    if (!server) return targets;
    for (const HttpRequest& request : server->requests())
      targets.push_back(request.target);
    return targets;
  }
  UrlOutcome await(const UrlReceiver& receiver) {
    do {
      answerInMemory();
    } while (services.urlSessions->deliver());
    return receiver.await();
  }
  UrlOutcome perform(UrlSession& session, const UrlRequest& request) {
    return await(start(session, request));
  }
  UrlRequest to(const std::string& target) const { return requestTo(root + target); }

  TestPlatform services;
  TestScope scope{services};
  std::unique_ptr<HttpServer> server;  // none for the sessions in memory
  std::string root = "http://127.0.0.1";

 private:
  /// Scripts what the handler answers to the requests that came.
  void answerInMemory() {
    for (const auto requests = services.urlSessions->requests(); answered_ < requests.size();) {
      const UrlRequest& request = requests[answered_++];
      HttpRequest seen{request.method, targetOf(request), {}, {}};
      for (const auto& [name, value] : request.headers)
        seen.headers.emplace_back(name, value.text().value_or(""));
      if (request.body) seen.body = textOf(*request.body);
      const HttpReply reply = handler_(seen);
      MemoryUrlSessions::Answer answer{reply.status, {}, dataOf(reply.body), {}};
      for (const auto& [name, value] : reply.headers)
        answer.headers.set(name, value);
      services.urlSessions->answer(answer);
    }
  }

  HttpServer::Handler handler_;
  std::size_t answered_ = 0;
};

HttpReply ok(const HttpRequest&) { return {200, "ok", {}, false}; }

TEST_P(UrlSessionContract, AnyStatusIsAnAnswerAndTheDelegateLearnsWhatMoved) {
  serve([](const HttpRequest& request) {
    return HttpReply{
        std::stoi(request.target.substr(1)),
        request.method + ' ' + request.body + ' ' + request.header("X-Who").value_or("-"),
        {{"X-Mark", "7"}},
        false};
  });
  UrlSessionConfiguration configuration;
  configuration.additionalHeaders = {{"x-who", "session"}};
  const auto delegate = std::make_shared<RecordingUrlDelegate>();
  const auto session = makeSession(configuration, delegate);
  EXPECT_EQ(perform(*session, to("/200")).text(), "GET  session");
  for (const int status : {200, 503}) {
    UrlRequest request = to('/' + std::to_string(status));
    request.method = "PUT";
    request.body = dataOf("body");
    request.headers = {{"X-WHO", "request"}};
    const auto outcome = perform(*session, request);
    ASSERT_EQ(outcome.code(), 0);
    EXPECT_EQ(outcome.status(), status);
    EXPECT_EQ(outcome.text(), "PUT body request");
    EXPECT_EQ(*outcome.response->headers.find("X-Mark"), Value("7"));
    EXPECT_EQ(outcome.response->url, request.url);
    EXPECT_EQ(outcome.response->expectedLength, 16);
    EXPECT_THAT(delegate->sent.back(), Pair(4, 4));
    EXPECT_THAT(delegate->received.back(), Pair(16, 16));
  }
}

TEST_P(UrlSessionContract, RequestThatMustNotBeSentFailsWithoutReachingTheServer) {
  serve(ok);
  const std::string good = root + "/";
  const struct {
    std::optional<std::string> url;
    std::string method;
    Dictionary headers;
    std::int64_t code = url_error::kBadUrl;
  } table[] = {
      {std::nullopt, "GET", {}},
      {"127.0.0.1/path", "GET", {}},
      {good + "?a|b", "GET", {}},
      {good + "a\r\nX: y", "GET", {}},
      {"file:///etc/passwd", "GET", {}, url_error::kUnsupportedUrl},
      {good, "post", {}},
      {good, "GET / HTTP/1.1\r\nX:", {}},
      {good, "GET", {{"A", "b\r\nC: d"}}},
      {good, "GET", {{"A: b", "c"}}},
  };
  for (const auto& bad : table) {
    UrlRequest request = requestTo("", bad.method);
    request.url = bad.url;
    request.headers = bad.headers;
    const auto outcome = perform(*makeSession(), request);
    ASSERT_EQ(outcome.code(), bad.code) << bad.url.value_or("") << bad.method;
    EXPECT_EQ(outcome.response, nullptr);
    EXPECT_EQ(outcome.error->domain, "url");
    if (!bad.url) continue;
    EXPECT_EQ(*outcome.error->userInfo.find("NSErrorFailingURLStringKey"), Value(*bad.url));
  }
  UrlSessionConfiguration configuration;
  configuration.additionalHeaders = {{"A", "b\r\nC: d"}};
  EXPECT_EQ(perform(*makeSession(configuration), to("/")).code(), url_error::kBadUrl);
  EXPECT_THAT(targets(), ElementsAre());
}

TEST_P(UrlSessionContract, ErrorsHideThePasswordOfTheUrl) {
  const std::pair<const char*, const char*> table[] = {
      {"ftp://u:p@h/@:", "ftp://u:***@h/@:"},
      {"http://u:p/w@h:port/", "http://u:***@h:port/"},
      {"http://u@h|", "http://u@h|"},
  };
  for (const auto& [url, shown] : table)
    EXPECT_EQ(
        *perform(*makeSession(), requestTo(url)).error->userInfo.find("NSErrorFailingURLStringKey"),
        Value(shown));
}

TEST_P(UrlSessionContract, TaskCompletesOnceHoweverOftenItIsResumedAndCancelled) {
  serve(ok);
  const UrlReceiver cancelled, answered;
  const auto never = makeSession()->makeDataTask(to("/never"), cancelled.completion());
  const auto once = makeSession()->makeDataTask(to("/once"), answered.completion());
  never->cancel();
  once->resume();
  EXPECT_EQ(await(cancelled).code(), url_error::kCancelled);
  EXPECT_EQ(await(answered).status(), 200);
  for (const auto& task : {never, once, never, once}) {
    task->resume();
    task->cancel();
  }
  perform(*makeSession(), to("/later"));  // whatever the others had left behind is over now
  EXPECT_EQ(cancelled.count() + answered.count(), 2U);
  EXPECT_THAT(targets(), ElementsAre("/once", "/later"));
}

TEST_P(UrlSessionContract, CompletionMayDropEverythingAndStartTheNext) {
  serve(ok);
  std::shared_ptr<UrlSession> session = makeSession();
  std::shared_ptr<platform::DataTask> task;
  const UrlReceiver last;
  task = session->makeDataTask(to("/first"), [&](Data, auto, auto) {
    session->makeDataTask(to("/second"), last.completion())->resume();
    session.reset();
    task.reset();
  });
  task->resume();
  EXPECT_EQ(await(last).status(), 200);
  EXPECT_THAT(targets(), ElementsAre("/first", "/second"));
}

TEST_P(UrlSessionContract, CookiesAreKeptAndSentUntilTheyExpire) {
  serve([](const HttpRequest& request) {
    HttpReply reply{200, request.header("Cookie").value_or("none"), {}, false};
    if (request.target == "/set") reply.headers = {{"Set-Cookie", "a=1; Path=/; Max-Age=60"}};
    return reply;
  });
  UrlSessionConfiguration configuration;
  configuration.cookies = sessions->makeCookieStorage();
  const auto session = makeSession(configuration);
  EXPECT_EQ(perform(*session, to("/set")).text(), "none");
  EXPECT_EQ(perform(*session, to("/x")).text(), "a=1");
  EXPECT_EQ(configuration.cookies->cookiesFor(root + "/").size(), 1U);
  EXPECT_EQ(perform(*makeSession(), to("/x")).text(), "none") << "no storage, no cookies";
  UrlRequest own = to("/x");
  own.headers = {{"Cookie", "own=2"}};
  EXPECT_EQ(perform(*session, own).text(), "own=2");
  services.clock->advance(std::chrono::seconds(61));
  EXPECT_EQ(perform(*session, to("/x")).text(), "none");
}

INSTANTIATE_TEST_SUITE_P(Kinds, UrlSessionContract, ::testing::Values("real", "memory"),
                         [](const auto& kind) { return std::string(kind.param); });

}  // namespace
}  // namespace kelm::testing
