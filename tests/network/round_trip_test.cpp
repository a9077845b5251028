// Tasks over the system's own sessions and main loop, against a server on the loopback interface.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "kelm/network/http_call.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/platform.h"
#include "tests/network/network_fixture.h"
#include "tests/support/http_server.h"

namespace kelm {
namespace {

using test::HttpReply;
using test::HttpRequest;
using test::HttpServer;

platform::MainLoop& mainLoop() { return platform::Platform::current().dispatcher->mainLoop(); }

/// Lets the main loop look again at what it waits for whenever a task has ended.
class WakingApplication : public test::RecordingApplication {
 public:
  void endBackgroundTask(BackgroundTask task) override {
    ++ended;
    RecordingApplication::endBackgroundTask(task);
    mainLoop().post([] {});
  }
  std::atomic<int> ended{0};
};

/// The system's dispatcher and sessions; this thread is the main thread.
struct RealFixture {
  RealFixture() {
    mainLoop().attachToCurrentThread();
    KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(
        [application = application] { return application; });
  }
  ~RealFixture() { KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(nullptr); }

  static bool runUntil(const std::function<bool()>& done) {
    return mainLoop().runUntil(done, std::chrono::minutes(1));
  }
  static std::shared_ptr<platform::UrlSession> makeSession() {
    auto& sessions = *platform::Platform::current().urlSessions;
    platform::UrlSessionConfiguration configuration;
    configuration.cookies = sessions.makeCookieStorage();
    return sessions.make(configuration);
  }

  std::shared_ptr<WakingApplication> application = std::make_shared<WakingApplication>();
  test::LogCapture log;
};

TEST(RoundTrip, PostReachesTheServerAndItsAnswerTheMainThread) {
  RealFixture f;
  const HttpServer server([](const HttpRequest&) {
    return HttpReply{409, "had it", {{"X-Answer", "7"}, {"Set-Cookie", "id=1"}}, false};
  });
  const auto session = RealFixture::makeSession();
  for (const std::string_view expectedCookie : {"", "id=1"}) {
    const auto call = HttpCall::initWithURL_andMethod_usingSession(server.url("/sales?x=1"),
                                                                   ZuHTTPMethod::Post, session);
    call->setRequestParametersEncoding(ZuHTTPParamEncoding::Json);
    call->setRequestParameters(Dictionary{{"amount", 1250}});
    call->addHttpHeaders({{"X-Till", "7"}});
    std::shared_ptr<ZuHTTPResponse> received;
    std::thread::id ranOn;
    call->performAsyncNetworkTaskWithCompletion([&](const auto& response, const auto&) {
      received = response;
      ranOn = std::this_thread::get_id();
    });
    ASSERT_TRUE(RealFixture::runUntil([&] { return ranOn != std::thread::id(); }));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    ASSERT_TRUE(received);
    EXPECT_EQ(received->statusCode(), 409);
    EXPECT_EQ(textOf(*received->bodyResponse()), "had it");
    EXPECT_EQ(*received->headersResponse()->find("X-Answer"), Value("7"));
    EXPECT_EQ(received->cookiesResponse()->front().value, "1");
    const HttpRequest sent = server.requests().back();
    EXPECT_EQ(sent.method + ' ' + sent.target, "POST /sales?x=1");
    EXPECT_EQ(sent.body, "{\n  \"amount\" : 1250\n}");
    EXPECT_EQ(sent.header("content-type"), "application/json; charset=utf-8");
    EXPECT_EQ(sent.header("x-till"), "7");
    EXPECT_EQ(sent.header("cookie").value_or(""), expectedCookie);
  }
}

TEST(RoundTrip, EightThreadsCompleteEveryTaskOnceWhileOthersLookOnAndAbort) {
  constexpr int kThreads = 8, kTasks = 40;
  RealFixture f;
  const HttpServer server;
  const auto session = RealFixture::makeSession();
  std::atomic<int> completions{0}, failures{0};
  const auto work = [&](int thread) {
    for (int i = 0; i < kTasks; ++i) {
      const auto call = HttpCall::initWithURL_andMethod_usingSession(
          server.url("/p?n=" + std::to_string(i)), static_cast<ZuHTTPMethod>(i % 6), session);
      call->setForceCompletitionMainThread(thread % 2 == 0);
      call->setDownloadProgressHandler_uploadProgressHandler([](const Value&) {}, nullptr);
      call->setRequestParameters(Dictionary{{"till", thread}});
      ZuHTTPTask::addCommonHttpHeaders({{"X-Thread", std::to_string(thread)}});
      call->performAsyncNetworkTaskWithCompletion([&](const auto&, const auto& error) {
        failures += error.has_value();
        ++completions;
      });
      call->setDownloadProgressValue(0.5);
      (void)call->request();
      (void)call->response();
      (void)call->getRequestParameters();
      (void)call->getMutableHeaderDict();
      if (i % 8 == 7) call->abortNetworkTask();
      if (i % 8 == 3) (void)call->errorOnTaskExecution();
    }
  };
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back(work, thread);
  EXPECT_TRUE(RealFixture::runUntil([&] { return f.application->ended == kThreads * kTasks; }));
  threads.clear();
  EXPECT_EQ(completions, kThreads * kTasks);
  EXPECT_EQ(f.application->ended, kThreads * kTasks);
  EXPECT_LE(failures, kThreads * kTasks / 8);  // the aborted ones
}

}  // namespace
}  // namespace kelm
