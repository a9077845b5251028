#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "kelm/base/describe.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using test::Events;
using test::MemoryUrlSessions;
using test::NetworkFixture;
using test::taskFor;
using testing::ElementsAre;
using testing::IsEmpty;

/// A session that notes into the application's events, and answers when the test says so.
class RecordingSession : public platform::UrlSession, public platform::DataTask {
 public:
  explicit RecordingSession(test::RecordingApplication& events) : events_(events) {}

  std::shared_ptr<platform::DataTask> makeDataTask(const platform::UrlRequest& request,
                                                   Completion completion) override {
    events_.note("makeDataTask " + request.url.value_or("(null)"));
    answer = std::move(completion);
    return {std::shared_ptr<void>(), this};
  }
  const platform::UrlSessionConfiguration& configuration() const override { return configured; }
  std::uint64_t id() const override { return 1; }
  void resume() override { events_.note("resume"); }
  void cancel() override { events_.note("cancel"); }

  Completion answer;
  platform::UrlSessionConfiguration configured;

 private:
  test::RecordingApplication& events_;
};

class RecordingTask : public ZuHTTPTask {
 public:
  RecordingTask(test::RecordingApplication& events, std::shared_ptr<platform::UrlSession> session)
      : ZuHTTPTask("http://h/p", ZuHTTPMethod::Post, std::move(session)), events_(events) {}
  ~RecordingTask() override { events_.note("destroyed"); }

  std::optional<platform::UrlRequest> buildRequest() override {
    events_.note("buildRequest");
    return builds ? ZuHTTPTask::buildRequest() : std::nullopt;
  }
  bool builds = true;
  bool throwsBefore = false;
  bool throwsAfter = false;

 protected:
  std::string getCurrentSessionName() const override { return "till session"; }
  void taskWillExecute(const std::shared_ptr<platform::DataTask>& task) override {
    events_.note(task == currentTask() && request() ? "willExecute" : "willExecute too early");
    if (throwsBefore) throw std::runtime_error("not now");
  }
  void taskDidExecute(const std::shared_ptr<platform::DataTask>& task) override {
    events_.note(task ? "didExecute" : "didExecute without task");
    if (throwsAfter) throw std::runtime_error("hook");
  }

 private:
  test::RecordingApplication& events_;
};

struct ExecutionFixture : NetworkFixture {
  void perform(ZuHTTPTask& to) {
    to.performWithTransformation_withNetworkCompletion(
        [this](const std::shared_ptr<ZuHTTPResponse>& response) {
          application->note("transformation");
          return Value(response->statusCode());
        },
        [this](const std::optional<Value>& result, const std::optional<Error>& error) {
          application->note("completion " + describe(result) + ' ' + describe(error));
        });
  }
  static std::shared_ptr<platform::UrlResponse> answerOf(int status) {
    auto response = std::make_shared<platform::UrlResponse>();
    response->statusCode = status;
    response->url = "http://h/p";
    return response;
  }

  std::shared_ptr<RecordingSession> session = std::make_shared<RecordingSession>(*application);
  std::shared_ptr<RecordingTask> task = std::make_shared<RecordingTask>(*application, session);
};

TEST(TaskExecution, StepsHappenInOrderAndLeaveTheTaskEmpty) {
  ExecutionFixture f;
  f.task->setUserInfo(std::make_shared<Object>());
  f.perform(*f.task);
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "makeDataTask http://h/p",
                          "willExecute", "resume"));
  EXPECT_THAT(f.log.lines(), ElementsAre("INFO NETWORK - START ASYNC NETWORK CALL"));
  f.dispatcher.runUntilIdle();
  EXPECT_THAT(f.application->takeEvents(), ElementsAre("indicator on"));
  ASSERT_TRUE(f.task->request());
  EXPECT_EQ(f.task->request()->method, "POST");

  f.session->answer(dataOf("ok"), ExecutionFixture::answerOf(500), std::nullopt);
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("didExecute", "transformation", "completion 500 (null)", "indicator off",
                          "end 1"));
  EXPECT_EQ(f.task->request(), nullptr);
  EXPECT_EQ(f.task->response(), nullptr);
  EXPECT_EQ(f.task->currentTask(), nullptr);
  EXPECT_EQ(f.task->currentSession(), nullptr);
  EXPECT_EQ(f.task->userInfo(), nullptr);
  EXPECT_EQ(f.task->getRequestParameters(), std::nullopt);
  EXPECT_TRUE(f.task->getMutableHeaderDict());
  EXPECT_EQ(f.task->errorOnTaskExecution(), std::nullopt);
}

TEST(TaskExecution, ExchangeIsLoggedWordForWord) {
  ExecutionFixture f;
  const auto jar = f.session->configured.cookies = f.sessions.makeCookieStorage();
  const auto setCookie = [&](std::string value) {
    platform::Cookie cookie;
    cookie.name = "a";
    cookie.value = std::move(value);
    cookie.domain = "h";
    jar->set(cookie);
    return "(\n    " + platform::describe(cookie) + "\n)";
  };
  const std::string before = setCookie("1");
  f.task->setRequestBody(dataOf("sale é"));
  f.perform(*f.task);
  f.log.clear();
  auto answer = ExecutionFixture::answerOf(404);
  answer->headers = {{"A", "b"}};
  const std::string after = setCookie("2");
  f.session->answer(dataOf("gone"), answer, std::nullopt);
  EXPECT_THAT(f.log.lines(),
              ElementsAre("INFO Current Session: till session\n"
                          "[HTTP REQUEST] url:http://h/p [POST]\n{\n}\nsale é\nCookies:" +
                          before +
                          "\n[HTTP RESPONSE] (req. url:http://h/p) status:404\n"
                          " headers:{\n    A = b;\n}\n body:gone\nCookies:" +
                          after));
}

TEST(TaskExecution, ForcedCompletionMovesFromTheNetworkThreadToTheMainThread) {
  for (const bool force : {true, false}) {
    ExecutionFixture f;
    std::thread::id ranOn;
    f.task->setForceCompletitionMainThread(force);
    f.task->performAsyncNetworkTaskWithCompletion(
        [&](const auto&, const auto&) { ranOn = std::this_thread::get_id(); });
    f.dispatcher.runUntilIdle();
    std::thread::id network;
    std::thread([&] {
      network = std::this_thread::get_id();
      f.session->answer({}, ExecutionFixture::answerOf(200), std::nullopt);
    }).join();
    if (force) {
      EXPECT_EQ(ranOn, std::thread::id());
      f.dispatcher.runUntilIdle();
    }
    EXPECT_EQ(ranOn, force ? std::this_thread::get_id() : network);
    f.session->answer = nullptr;
  }
}

TEST(TaskExecution, BackgroundTaskEndsOnceWhetherItExpiresOrIsAnswered) {
  for (const bool atOnce : {true, false}) {
    ExecutionFixture f;
    f.application->expireAtOnce = atOnce;
    f.perform(*f.task);
    if (!atOnce) f.application->expired()();
    EXPECT_THAT(f.application->takeEvents(), testing::Contains("end 1").Times(1));
    f.application->expired()();
    f.session->answer({}, ExecutionFixture::answerOf(200), std::nullopt);
    f.application->expired()();
    EXPECT_THAT(f.application->takeEvents(), testing::Contains("end 1").Times(0));
  }
}

TEST(TaskExecution, WithoutSessionTheCompletionGetsAnErrorLater) {
  ExecutionFixture f;
  f.task = std::make_shared<RecordingTask>(*f.application, nullptr);
  f.application->takeEvents();
  f.perform(*f.task);
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "willExecute"));
  f.dispatcher.runUntilIdle();
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("indicator on", "didExecute without task",
                          "completion (null) " +
                              describe(platform::urlError(platform::url_error::kUnknown)),
                          "indicator off", "end 1"));
}

TEST(TaskExecution, FailureRaisedAtTheStartReachesTheCallerAndReleasesAll) {
  ExecutionFixture f;
  f.task->throwsBefore = true;
  EXPECT_THROW(f.perform(*f.task), std::runtime_error);
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "makeDataTask http://h/p",
                          "willExecute", "end 1"));
  EXPECT_EQ(f.task->currentTask(), nullptr);
  f.session->answer = nullptr;
  const std::weak_ptr<RecordingTask> task = f.task;
  f.task.reset();
  EXPECT_TRUE(task.expired());
}

TEST(TaskExecution, WhatUserCodeThrowsNeitherStopsTheAnswerNorEscapes) {
  ExecutionFixture f;
  f.task->throwsAfter = true;
  int completions = 0;
  f.task->performWithTransformation_withNetworkCompletion(
      [](const auto&) -> std::optional<Value> { throw std::runtime_error("transformation"); },
      [&](const std::optional<Value>& result, const std::optional<Error>& error) {
        ++completions;
        EXPECT_EQ(result, std::nullopt);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->localizedDescription(), "transformation");
        throw std::runtime_error("completion");
      });
  f.application->takeEvents();
  f.session->answer({}, ExecutionFixture::answerOf(200), std::nullopt);
  EXPECT_EQ(completions, 1);
  EXPECT_THAT(f.services.console->lines(), ElementsAre("LOG ERROR hook", "LOG ERROR completion"));
  EXPECT_THAT(f.application->takeEvents(), ElementsAre("didExecute", "indicator off", "end 1"));
}

TEST(TaskExecution, CompletionMayDropTheLastReferenceAndFeedAnotherAnswer) {
  ExecutionFixture f;
  int completions = 0;
  f.task->performAsyncNetworkTaskWithCompletion([&](const auto&, const auto&) {
    ++completions;
    f.task->handleProcessingOfData_withURLResponse_withNetworkError_andWithTransformation(
        {}, nullptr, std::nullopt, nullptr);
    f.task.reset();
  });
  auto answer = std::exchange(f.session->answer, nullptr);
  f.application->takeEvents();
  answer({}, ExecutionFixture::answerOf(200), std::nullopt);
  answer = nullptr;
  EXPECT_EQ(completions, 1);
  EXPECT_THAT(f.application->takeEvents(), ElementsAre("didExecute", "didExecute", "indicator off",
                                                       "indicator off", "end 1", "destroyed"));
}

TEST(TaskProgress, IsLoggedAndPassedOnOnlyToItsHandler) {
  ExecutionFixture f;
  Events seen;
  const auto noting = [&](std::string name) {
    return [&seen, name](const Value& progress) { seen.push_back(name + describe(progress)); };
  };
  f.task->setDownloadProgressValue(0.25);
  f.task->setUploadProgressValue(0.25);
  EXPECT_THAT(f.log.lines(), IsEmpty());
  f.task->setDownloadProgressHandler_uploadProgressHandler(noting("down "), nullptr);
  f.task->setUploadProgressValue(0.5);
  f.task->setDownloadProgressHandler_uploadProgressHandler(nullptr, noting("up "));
  f.task->setDownloadProgressValue(0.5);
  f.task->setUploadProgressValue(1);
  EXPECT_THAT(seen, ElementsAre("down 0.5", "up 1"));
  EXPECT_THAT(f.log.lines(), ElementsAre("INFO NETWORK - Progress download network request: 0.5",
                                         "INFO NETWORK - Progress upload network request: 1"));
  f.task->dispose();
  f.task->setUploadProgressValue(1);
  EXPECT_EQ(seen.size(), 2U);
}

}  // namespace
}  // namespace kelm
