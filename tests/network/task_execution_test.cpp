#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "kelm/base/describe.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using test::RecordingApplication;
using testing::ElementsAre;
using testing::IsEmpty;

/// A session that notes into the application's events, and answers when the test says so.
struct RecordingSession : platform::UrlSession, platform::DataTask {
  explicit RecordingSession(RecordingApplication& itsEvents) : events(itsEvents) {}
  std::shared_ptr<platform::DataTask> makeDataTask(const platform::UrlRequest& request,
                                                   Completion completion) override {
    events.note("makeDataTask " + request.url.value_or("(null)"));
    answer = std::move(completion);
    return {std::shared_ptr<void>(), this};
  }
  const platform::UrlSessionConfiguration& configuration() const override { return configured; }
  std::uint64_t id() const override { return 1; }
  void resume() override { events.note("resume"); }
  void cancel() override { events.note("cancel"); }

  RecordingApplication& events;
  Completion answer;
  platform::UrlSessionConfiguration configured;
};

struct RecordingTask : ZuHTTPTask {
  RecordingTask(RecordingApplication& itsEvents, std::shared_ptr<platform::UrlSession> session)
      : ZuHTTPTask("http://h/p", ZuHTTPMethod::Post, std::move(session)), events(itsEvents) {}

  std::optional<platform::UrlRequest> buildRequest() override {
    note("buildRequest");
    return ZuHTTPTask::buildRequest();
  }
  std::string getCurrentSessionName() const override { return "till session"; }
  void taskWillExecute(const std::shared_ptr<platform::DataTask>& task) override {
    note(task == currentTask() && request() ? "willExecute" : "willExecute too early");
  }
  void taskDidExecute(const std::shared_ptr<platform::DataTask>& task) override {
    note(task ? "didExecute" : "didExecute without task");
  }
  void note(const std::string& event) {
    events.note(event);
    if (event == throwsAt) throw std::runtime_error(event);
  }

  RecordingApplication& events;
  std::string throwsAt;
};

struct ExecutionFixture : test::NetworkFixture {
  void perform() {
    task->performWithTransformation_withNetworkCompletion(
        [this](const auto& response) {
          application->note("transformation");
          return Value(response->statusCode());
        },
        [this](const std::optional<Value>& result, const std::optional<Error>& error) {
          application->note("completion " + describe(result) + ' ' + describe(error));
        });
  }
  void answer(int status, std::string_view body = "", Dictionary headers = {}) {
    auto response = std::make_shared<platform::UrlResponse>();
    response->statusCode = status;
    response->url = "http://h/p";
    response->headers = std::move(headers);
    std::exchange(session->answer, nullptr)(dataOf(body), response, std::nullopt);
  }

  std::shared_ptr<RecordingSession> session = std::make_shared<RecordingSession>(*application);
  std::shared_ptr<RecordingTask> task = std::make_shared<RecordingTask>(*application, session);
};

TEST(TaskExecution, StepsHappenInOrderAndLeaveTheTaskEmpty) {
  ExecutionFixture f;
  f.task->setUserInfo(std::make_shared<Object>());
  f.perform();
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "makeDataTask http://h/p",
                          "willExecute", "resume"));
  EXPECT_THAT(f.log.lines(), ElementsAre("INFO NETWORK - START ASYNC NETWORK CALL"));
  f.dispatcher.runUntilIdle();
  EXPECT_THAT(f.application->takeEvents(), ElementsAre("indicator on"));
  EXPECT_EQ(f.task->request()->method, "POST");
  f.answer(500);
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("didExecute", "transformation", "completion 500 (null)", "indicator off",
                          "end 1"));
  EXPECT_FALSE(f.task->request() || f.task->response() || f.task->currentTask() ||
               f.task->currentSession() || f.task->userInfo());
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
  f.perform();
  f.log.clear();
  const std::string after = setCookie("2");
  f.answer(404, "gone", {{"A", "b"}});
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
    std::thread network([&] { f.answer(200); });
    const std::thread::id networkId = network.get_id();
    network.join();
    EXPECT_EQ(ranOn, force ? std::thread::id() : networkId);
    f.dispatcher.runUntilIdle();
    EXPECT_EQ(ranOn, force ? std::this_thread::get_id() : networkId);
  }
}

TEST(TaskExecution, BackgroundTaskEndsOnceWhetherItExpiresOrIsAnswered) {
  for (const bool atOnce : {true, false}) {
    ExecutionFixture f;
    f.application->expireAtOnce = atOnce;
    f.perform();
    if (!atOnce) f.application->expired()();
    EXPECT_THAT(f.application->takeEvents(), testing::Contains("end 1").Times(1));
    f.answer(200);
    f.application->expired()();
    EXPECT_THAT(f.application->takeEvents(), testing::Contains("end 1").Times(0));
  }
}

TEST(TaskExecution, WithoutSessionTheCompletionGetsAnErrorLater) {
  ExecutionFixture f;
  f.task = std::make_shared<RecordingTask>(*f.application, nullptr);
  f.perform();
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
  f.task->throwsAt = "willExecute";
  EXPECT_THROW(f.perform(), std::runtime_error);
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "makeDataTask http://h/p",
                          "willExecute", "end 1"));
  EXPECT_EQ(f.task->currentTask(), nullptr);
  f.session->answer = nullptr;
  const std::weak_ptr<RecordingTask> task = std::exchange(f.task, nullptr);
  EXPECT_TRUE(task.expired());
}

TEST(TaskExecution, WhatUserCodeThrowsNeitherStopsTheAnswerNorEscapes) {
  ExecutionFixture f;
  f.task->throwsAt = "didExecute";
  f.task->performWithTransformation_withNetworkCompletion(
      [](const auto&) -> std::optional<Value> { throw std::runtime_error("transformation"); },
      [&](const std::optional<Value>& result, const std::optional<Error>& error) {
        EXPECT_EQ(result, std::nullopt);
        f.application->note("completion " + error->localizedDescription());
        throw std::runtime_error("completion");
      });
  f.application->takeEvents();
  f.answer(200);
  EXPECT_THAT(f.services.console->lines(),
              ElementsAre("LOG ERROR didExecute", "LOG ERROR completion"));
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("didExecute", "completion transformation", "indicator off", "end 1"));
}

TEST(TaskProgress, IsLoggedAndPassedOnOnlyToItsHandler) {
  ExecutionFixture f;
  const auto noting = [&](std::string name) {
    return [&f, name](const Value& progress) { f.application->note(name + describe(progress)); };
  };
  f.task->setDownloadProgressValue(0.25);
  f.task->setUploadProgressValue(0.25);
  EXPECT_THAT(f.log.lines(), IsEmpty());
  f.task->setDownloadProgressHandler_uploadProgressHandler(noting("down "), nullptr);
  f.task->setUploadProgressValue(0.5);
  f.task->setDownloadProgressHandler_uploadProgressHandler(nullptr, noting("up "));
  f.task->setDownloadProgressValue(0.5);
  f.task->setUploadProgressValue(1);
  f.task->dispose();
  f.task->setUploadProgressValue(1);
  EXPECT_THAT(f.application->takeEvents(), ElementsAre("down 0.5", "up 1"));
  EXPECT_THAT(f.log.lines(), ElementsAre("INFO NETWORK - Progress download network request: 0.5",
                                         "INFO NETWORK - Progress upload network request: 1"));
}

}  // namespace
}  // namespace kelm
