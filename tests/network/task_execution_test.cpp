#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "kelm/base/describe.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct RecordingTask : ZuHTTPTask {
  RecordingTask(testing::NetworkFixture& itsFixture, std::shared_ptr<platform::UrlSession> session)
      : ZuHTTPTask("http://h/p", ZuHTTPMethod::Post, std::move(session)), fixture(itsFixture) {}

  std::optional<platform::UrlRequest> buildRequest() override {
    note("buildRequest");
    return ZuHTTPTask::buildRequest();
  }
  std::string getCurrentSessionName() const override {
    if (throwsAt == "sessionName") throw std::runtime_error(throwsAt);
    return "till session";
  }
  void taskWillExecute(const std::shared_ptr<platform::DataTask>& task) override {
    EXPECT_TRUE(task == currentTask() && request() && fixture.sessions.requests().empty());
    note(task ? "willExecute" : "willExecute without task");
  }
  void taskDidExecute(const std::shared_ptr<platform::DataTask>& task) override {
    note(task ? "didExecute" : "didExecute without task");
  }
  void note(const std::string& event) const {
    fixture.application->note(event);
    if (event == throwsAt) throw std::runtime_error(event);
  }

  testing::NetworkFixture& fixture;
  std::string throwsAt;
};

struct ExecutionFixture : testing::NetworkFixture {
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
    sessions.answer({status, std::move(headers), dataOf(body), std::nullopt});
    sessions.deliverAll();
  }

  std::shared_ptr<platform::UrlSession> makeSession() {
    platform::UrlSessionConfiguration configuration;
    configuration.cookies = jar;
    return sessions.make(configuration);
  }

  std::shared_ptr<platform::CookieStorage> jar = sessions.makeCookieStorage();
  std::shared_ptr<RecordingTask> task = std::make_shared<RecordingTask>(*this, makeSession());
};

TEST(TaskExecution, StepsHappenInOrderAndLeaveTheTaskEmpty) {
  ExecutionFixture f;
  f.task->setUserInfo(std::make_shared<Object>());
  f.perform();
  EXPECT_THAT(f.application->takeEvents(),
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "willExecute"));
  EXPECT_EQ(f.sessions.requests().at(0).url, "http://h/p");
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
  const auto setCookie = [&](std::string value) {
    platform::Cookie cookie;
    cookie.name = "a";
    cookie.value = std::move(value);
    cookie.domain = "h";
    f.jar->set(cookie);
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
    EXPECT_THAT(f.application->takeEvents(), ::testing::Contains("end 1").Times(1));
    f.answer(200);
    f.application->expired()();
    EXPECT_THAT(f.application->takeEvents(), ::testing::Contains("end 1").Times(0));
  }
}

TEST(TaskExecution, WithoutSessionTheCompletionGetsAnErrorLater) {
  ExecutionFixture f;
  f.task = std::make_shared<RecordingTask>(f, nullptr);
  f.perform();
  EXPECT_THAT(
      f.application->takeEvents(),
      ElementsAre("buildRequest", "begin KelmTask RecordingTask", "willExecute without task"));
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
              ElementsAre("buildRequest", "begin KelmTask RecordingTask", "willExecute", "end 1"));
  EXPECT_EQ(f.task->currentTask(), nullptr);
  EXPECT_THAT(f.sessions.requests(), IsEmpty());
  const std::weak_ptr<RecordingTask> task = std::exchange(f.task, nullptr);
  EXPECT_TRUE(task.expired());
}

TEST(TaskExecution, WhatUserCodeThrowsNeitherStopsTheAnswerNorEscapes) {
  for (const std::string place : {"didExecute", "sessionName"}) {
    ExecutionFixture f;
    f.task->throwsAt = place;
    f.task->performWithTransformation_withNetworkCompletion(
        [&](const auto&) -> std::optional<Value> {
          if (place == "didExecute") throw std::runtime_error("transformation");
          throw 7;
        },
        [&](const std::optional<Value>& result, const std::optional<Error>& error) {
          EXPECT_EQ(result, std::nullopt);
          f.application->note("completion " + error->localizedDescription());
          throw std::runtime_error("completion");
        });
    f.application->takeEvents();
    f.answer(200);
    EXPECT_THAT(f.services.console->lines(),
                ElementsAre("LOG ERROR " + place, "LOG ERROR completion"));
    const char* const failure = place == "didExecute" ? "transformation" : "unknown exception";
    EXPECT_THAT(
        f.application->takeEvents(),
        ElementsAre("didExecute", std::string("completion ") + failure, "indicator off", "end 1"));
  }
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
