// What every kind of URL session does, this system's and the one in memory.

#include "tests/platform/url_session_world.h"

namespace kelm::test {
namespace {

using platform::UrlRequest;
using platform::UrlSession;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;
using testing::ElementsAre;

/// Sessions and a server that answers them.
class World {
 public:
  virtual ~World() = default;
  virtual platform::UrlSessions& sessions() = 0;
  virtual std::string url(std::string_view target) = 0;
  virtual std::vector<std::string> targets() = 0;
  /// Lets completions come.
  virtual void settle() {}
};

class RealWorld final : public World {
 public:
  RealWorld(const TestPlatform& services, HttpServer::Handler handler)
      : sessions_(platform::makeUrlSessions(services.clock, services.console)),
        server_(std::move(handler)) {}
  platform::UrlSessions& sessions() override { return *sessions_; }
  std::string url(std::string_view target) override { return server_.url(target); }
  std::vector<std::string> targets() override {
    std::vector<std::string> targets;
    for (const auto& request : server_.requests())
      targets.push_back(request.target);
    return targets;
  }

 private:
  std::shared_ptr<platform::UrlSessions> sessions_;
  HttpServer server_;
};

class MemoryWorld final : public World {
 public:
  MemoryWorld(const TestPlatform& services, HttpServer::Handler handler)
      : sessions_(services.urlSessions) {
    sessions_->answerWith([handler](const UrlRequest& request) {
      HttpRequest seen{request.method, targetOf(request), {}, {}};
      for (const auto& [name, value] : request.headers)
        seen.headers.emplace_back(name, value.text().value_or(""));
      if (request.body) seen.body = textOf(*request.body);
      const HttpReply reply = handler(seen);
      MemoryUrlSessions::Answer answer{reply.status, {}, dataOf(reply.body), {}};
      for (const auto& [name, value] : reply.headers)
        answer.headers.set(name, value);
      return answer;
    });
  }
  platform::UrlSessions& sessions() override { return *sessions_; }
  std::string url(std::string_view target) override { return kRoot + std::string(target); }
  std::vector<std::string> targets() override {
    std::vector<std::string> targets;
    for (const auto& request : sessions_->requests())
      targets.push_back(targetOf(request));
    return targets;
  }
  void settle() override { sessions_->deliverAll(); }

 private:
  static constexpr const char* kRoot = "http://127.0.0.1";
  static std::string targetOf(const UrlRequest& request) {
    return request.url->substr(std::string(kRoot).size());
  }
  std::shared_ptr<MemoryUrlSessions> sessions_;
};

class UrlSessionContract : public testing::TestWithParam<const char*> {
 protected:
  void serve(HttpServer::Handler handler) {
    if (std::string_view(GetParam()) == "real")
      world = std::make_unique<RealWorld>(services, std::move(handler));
    else
      world = std::make_unique<MemoryWorld>(services, std::move(handler));
  }
  std::shared_ptr<UrlSession> makeSession(UrlSessionConfiguration configuration = {}) {
    return world->sessions().make(std::move(configuration), delegate);
  }
  UrlOutcome await(const UrlReceiver& receiver) {
    world->settle();
    return receiver.await();
  }
  UrlOutcome perform(UrlSession& session, const UrlRequest& request) {
    const UrlReceiver receiver;
    session.makeDataTask(request, receiver.completion())->resume();
    return await(receiver);
  }
  UrlRequest to(std::string_view target) { return requestTo(world->url(target)); }

  TestPlatform services;
  TestScope scope{services};
  std::shared_ptr<RecordingUrlDelegate> delegate = std::make_shared<RecordingUrlDelegate>();
  std::unique_ptr<World> world;
};

HttpReply ok(const HttpRequest&) { return {200, "ok", {}, false}; }

TEST_P(UrlSessionContract, AnyStatusIsAnAnswerToTheRequestWithTheHeadersOfBoth) {
  serve([](const HttpRequest& request) {
    return HttpReply{
        std::stoi(request.target.substr(1)),
        request.method + ' ' + request.body + ' ' + request.header("X-Who").value_or("-"),
        {{"X-Mark", "7"}},
        false};
  });
  UrlSessionConfiguration configuration;
  configuration.additionalHeaders = {{"x-who", "session"}};
  const auto session = makeSession(configuration);
  EXPECT_EQ(perform(*session, to("/200")).text(), "GET  session");
  for (const int status : {200, 404, 503}) {
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
  }
}

TEST_P(UrlSessionContract, RequestThatMustNotBeSentFailsWithoutReachingTheServer) {
  serve(ok);
  const std::string good = world->url("/");
  const struct {
    const char* why;
    std::optional<std::string> url;
    std::string method;
    Dictionary headers;
    std::int64_t code;
  } table[] = {
      {"absent", std::nullopt, "GET", {}, url_error::kBadUrl},
      {"no scheme", "127.0.0.1/path", "GET", {}, url_error::kBadUrl},
      {"line end", good + "a\r\nX: y", "GET", {}, url_error::kBadUrl},
      {"NUL", good + std::string("a\0b", 3), "GET", {}, url_error::kBadUrl},
      {"another scheme", "file:///etc/passwd", "GET", {}, url_error::kUnsupportedUrl},
      {"lower-case method", good, "post", {}, url_error::kBadUrl},
      {"method of two lines", good, "GET / HTTP/1.1\r\nX:", {}, url_error::kBadUrl},
      {"value of two lines", good, "GET", {{"A", "b\r\nC: d"}}, url_error::kBadUrl},
      {"value with NUL", good, "GET", {{"A", std::string("b\0", 2)}}, url_error::kBadUrl},
      {"name with colon", good, "GET", {{"A: b", "c"}}, url_error::kBadUrl},
  };
  for (const auto& bad : table) {
    SCOPED_TRACE(bad.why);
    UrlRequest request;
    request.url = bad.url;
    request.method = bad.method;
    request.headers = bad.headers;
    const auto outcome = perform(*makeSession(), request);
    EXPECT_EQ(outcome.code(), bad.code);
    EXPECT_EQ(outcome.response, nullptr);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain, "url");
    if (!bad.url) continue;
    EXPECT_EQ(*outcome.error->userInfo.find("NSErrorFailingURLStringKey"), Value(*bad.url));
  }
  UrlSessionConfiguration configuration;
  configuration.additionalHeaders = {{"A", "b\r\nC: d"}};
  EXPECT_EQ(perform(*makeSession(configuration), to("/")).code(), url_error::kBadUrl);
  EXPECT_THAT(world->targets(), ElementsAre());
}

TEST_P(UrlSessionContract, CancelledTaskCompletesOnceAndIsNeverSent) {
  serve(ok);
  const UrlReceiver receiver;
  const auto task = makeSession()->makeDataTask(to("/"), receiver.completion());
  task->cancel();
  task->cancel();
  task->resume();
  EXPECT_EQ(await(receiver).code(), url_error::kCancelled);
  perform(*makeSession(), to("/later"));  // whatever the first had left behind is over now
  EXPECT_EQ(receiver.count(), 1U);
  EXPECT_THAT(world->targets(), ElementsAre("/later"));
}

TEST_P(UrlSessionContract, ResumeAndCancelAfterTheEndChangeNothing) {
  serve(ok);
  const UrlReceiver receiver;
  const auto task = makeSession()->makeDataTask(to("/"), receiver.completion());
  task->resume();
  task->resume();
  EXPECT_EQ(await(receiver).status(), 200);
  task->resume();
  task->cancel();
  perform(*makeSession(), to("/later"));
  EXPECT_EQ(receiver.count(), 1U);
  EXPECT_THAT(world->targets(), ElementsAre("/", "/later"));
}

TEST_P(UrlSessionContract, CompletionMayDropEverythingAndStartTheNext) {
  serve(ok);
  struct Owner {
    std::shared_ptr<UrlSession> session;
    std::shared_ptr<platform::DataTask> task;
  };
  auto owner = std::make_shared<Owner>();
  owner->session = makeSession();
  const UrlReceiver last;
  owner->task = owner->session->makeDataTask(to("/first"), [&](Data, auto, auto) {
    owner->session->makeDataTask(to("/second"), last.completion())->resume();
    owner.reset();
  });
  owner->task->resume();
  EXPECT_EQ(await(last).status(), 200);
  EXPECT_EQ(owner, nullptr);
  EXPECT_THAT(world->targets(), ElementsAre("/first", "/second"));
}

TEST_P(UrlSessionContract, DelegateLearnsWhatMoved) {
  serve([](const HttpRequest&) { return HttpReply{200, std::string(3000, 'x'), {}, false}; });
  UrlRequest request = to("/");
  request.method = "POST";
  request.body = Data(2000, 'u');
  perform(*makeSession(), request);
  ASSERT_FALSE(delegate->sent.empty());
  EXPECT_EQ(delegate->sent.back(), (std::pair<std::int64_t, std::int64_t>(2000, 2000)));
  ASSERT_FALSE(delegate->received.empty());
  EXPECT_EQ(delegate->received.back(), (std::pair<std::int64_t, std::int64_t>(3000, 3000)));
}

TEST_P(UrlSessionContract, CookiesAreKeptAndSentUntilTheyExpire) {
  serve([](const HttpRequest& request) {
    HttpReply reply{200, request.header("Cookie").value_or("none"), {}, false};
    if (request.target == "/set") reply.headers = {{"Set-Cookie", "a=1; Path=/; Max-Age=60"}};
    return reply;
  });
  UrlSessionConfiguration configuration;
  configuration.cookies = world->sessions().makeCookieStorage();
  const auto session = makeSession(configuration);
  EXPECT_EQ(perform(*session, to("/set")).text(), "none");
  EXPECT_EQ(perform(*session, to("/x")).text(), "a=1");
  EXPECT_EQ(configuration.cookies->cookiesFor(world->url("/")).size(), 1U);
  EXPECT_EQ(perform(*makeSession(), to("/x")).text(), "none") << "no storage, no cookies";
  UrlRequest own = to("/x");
  own.headers = {{"Cookie", "own=2"}};
  EXPECT_EQ(perform(*session, own).text(), "own=2");
  services.clock->advance(std::chrono::seconds(61));
  EXPECT_EQ(perform(*session, to("/x")).text(), "none");
}

INSTANTIATE_TEST_SUITE_P(Kinds, UrlSessionContract, testing::Values("real", "memory"),
                         [](const auto& kind) { return std::string(kind.param); });

}  // namespace
}  // namespace kelm::test
