// Tasks over the system's own sessions and main loop, against a server on the loopback interface.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "kelm/network/http_call.h"
#include "kelm/platform/dispatch.h"
#include "kelm/testing/servers/http_server.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

platform::MainLoop& mainLoop() { return platform::current<platform::Dispatcher>()->mainLoop(); }

/// Lets the main loop look again at what it waits for whenever a task has ended.
class WakingApplication : public testing::RecordingApplication {
 public:
  void endBackgroundTask(BackgroundTask) override {
    ++ended;
    mainLoop().post([] {});
  }
  std::atomic<int> ended{0};
};

TEST(RoundTrip, EightThreadsCompleteEveryTaskOnceWhileOthersLookOnAndAbort) {
  constexpr int kThreads = 8, kTasks = 40, kAll = kThreads * kTasks;
  mainLoop().attachToCurrentThread();
  const testing::LogCapture log;
  const auto application = std::make_shared<WakingApplication>();
  KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler([=] { return application; });
  const testing::HttpServer server;
  const auto session = platform::current<platform::UrlSessions>()->make({});
  std::atomic<int> completions{0}, failures{0};
  const auto work = [&](int thread) {
    for (int i = 0; i < kTasks; ++i) {
      const auto call = HttpCall::initWithURL_andMethod_usingSession(
          server.url("/p?n=" + std::to_string(i)), static_cast<ZuHTTPMethod>(i % 6), session);
      call->setForceCompletitionMainThread(thread % 2 == 0);
      call->setDownloadProgressHandler_uploadProgressHandler([](const Value&) {}, nullptr);
      call->setRequestParameters(Dictionary{{"till", thread}});
      ZuHTTPTask::addCommonHttpHeaders({{"X-Thread", std::to_string(thread)}});
      call->performAsyncNetworkTaskWithCompletion([&](const auto& response, const auto& error) {
        failures += error.has_value() || response->statusCode() != 200;
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
  const auto allEnded = [&] { return application->ended == kAll; };
  EXPECT_TRUE(mainLoop().runUntil(allEnded, std::chrono::minutes(1)));
  threads.clear();
  EXPECT_EQ(completions, kAll);
  EXPECT_LE(failures, kAll / 8);  // the aborted ones
  for (const testing::HttpRequest& request : server.requests())
    EXPECT_TRUE(request.header("X-Thread")) << request.target;
  KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(nullptr);
}

}  // namespace
}  // namespace kelm
