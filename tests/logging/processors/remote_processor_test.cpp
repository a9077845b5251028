#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/logging/processors/vasp_logger_processor_ardis_impl.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using platform::StreamEvent;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using Answer = MemoryStreams::Answer;

struct RemoteProcessorTest : ::testing::Test {
  TestPlatform services;
  TestScope scope{services};
  MemoryStreams& peer = *services.streams;
  std::unique_ptr<VaspLoggerProcessor_ArdisImpl> processor;

  void begin(std::optional<std::size_t> bound = {}) {
    processor = std::make_unique<VaspLoggerProcessor_ArdisImpl>(bound);
    services.dispatcher->runUntilIdle();
  }
  void log(std::string_view line, LogLevel level = log_level::kInfo) {
    KelmLogModel record;
    record.level = level;
    record.messageData = dataOf(line);
    processor->processLog(record);
  }
  void pass(int milliseconds) {
    services.dispatcher->advance(std::chrono::milliseconds(milliseconds));
  }
  void end(StreamEvent event) {
    peer.end(event);
    services.dispatcher->runUntilIdle();
  }
};

TEST_F(RemoteProcessorTest, LinesWaitForTheConnectionAndLeaveOldestFirstAtTheTick) {
  peer.setAnswer(Answer::None);
  begin();
  for (const std::string_view line : {"one", "same", "", "two", "same"})
    log(line);
  pass(4999);
  peer.setAnswer(Answer::Accepted);
  pass(1);
  EXPECT_EQ(peer.received(), "");
  pass(500);
  EXPECT_EQ(peer.received(), "onesametwo");
  EXPECT_THAT(peer.targets(), ElementsAre("localhost:50505", "localhost:50505"));
  EXPECT_THAT(services.console->lines(),
              ElementsAre("Ardis connection not established, connecting...",
                          "---> NSStreamEventOpenCompleted"));
}

TEST_F(RemoteProcessorTest, ServerThatIsAwayForAnHourIsTriedEveryFiveSecondsAndThenGetsAll) {
  peer.setAnswer(Answer::Refused);
  begin();
  for (int second = 0; second < 3600; ++second) {
    log(std::to_string(second) + '\n');
    pass(1000);
  }
  EXPECT_THAT(peer.targets(), SizeIs(721));
  EXPECT_THAT(peer.targets(), Each("localhost:50505"));
  peer.setAnswer(Answer::Accepted);
  pass(5500);
  std::string all;
  for (int second = 0; second < 3600; ++second)
    all += std::to_string(second) + '\n';
  EXPECT_EQ(peer.received(), all);
}

TEST_F(RemoteProcessorTest, FatalLineIsWrittenAtOnceAndAgainFromTheBuffer) {
  begin();
  log("plain|");
  log("fatal|", log_level::kFatal);
  log("critical|", log_level::kCritical);
  EXPECT_EQ(peer.received(), "fatal|critical|");
  pass(500);
  EXPECT_EQ(peer.received(), "fatal|critical|plain|fatal|critical|");
}

TEST_F(RemoteProcessorTest, PartOfALineThatWasNotTakenLeadsTheNextPass) {
  begin();
  peer.setSpace(4);
  log("abcdef");
  log("ef");  // equal to the rest of the line before it: goes with it
  log("abcdef");
  pass(500);
  EXPECT_EQ(peer.received(), "abcd");
  peer.setSpace(100);
  pass(500);
  EXPECT_EQ(peer.received(), "abcdefabcdef");
}

TEST_F(RemoteProcessorTest, ReaderOfSingleBytesGetsEveryLineOnce) {
  begin();
  std::string all;
  for (int number = 0; number < 10'000; ++number) {
    const std::string line = "line " + std::to_string(number) + '\n';
    log(line);
    all += line;
  }
  while (peer.received().size() < all.size()) {
    peer.setSpace(peer.received().size() % 1000 == 0 ? 1 : 999);
    processor->doSendLogs(services.clock->now());
  }
  EXPECT_EQ(peer.received(), all);
}

TEST_F(RemoteProcessorTest, BrokenConnectionIsMadeAgainAndTheCutLineGoesOn) {
  for (const auto& [event, text] :
       {std::pair{StreamEvent::ErrorOccurred, "---> NSStreamEventErrorOccurred"},
        std::pair{StreamEvent::EndEncountered, "---> NSStreamEventEndEncountered"}}) {
    const std::size_t before = peer.received().size();
    begin();
    peer.setSpace(3);
    log("abcdef");
    pass(500);
    end(event);
    EXPECT_EQ(services.console->lines().back(), text);
    peer.setSpace(100);
    log("g");
    pass(4400);
    EXPECT_EQ(peer.received().substr(before), "abc");
    pass(600);
    EXPECT_EQ(peer.received().substr(before), "abcdefg");
  }
}

TEST_F(RemoteProcessorTest, StalePassSendsNothing) {
  begin();
  log("late");
  processor->doSendLogs({services.clock->now().secondsSince1970 - 0.015});
  EXPECT_EQ(peer.received(), "");
  processor->doSendLogs({services.clock->now().secondsSince1970 - 0.014});
  EXPECT_EQ(peer.received(), "late");
}

TEST_F(RemoteProcessorTest, EditedSettingCountsAtTheNextConnection) {
  peer.setAnswer(Answer::Refused);
  begin();
  for (const char* host : {"till.example", ""}) {
    static_cast<void>(services.userDefaults->setObject("logserver", Value(host)));
    pass(5000);
  }
  EXPECT_THAT(peer.targets(),
              ElementsAre("localhost:50505", "till.example:50505", "localhost:50505"));
}

TEST_F(RemoteProcessorTest, BoundKeepsTheNewestAndTheLineThatIsHalfSent) {
  begin(12);
  peer.setSpace(2);
  log("half");
  pass(500);
  for (const std::string_view line : {"aaaa", "bbbb", "cccc", "dddd"})
    log(line);
  peer.setSpace(1000);
  pass(500);
  EXPECT_EQ(peer.received(), "half⚠️[WARN] [None] 2 log lines were dropped: no roomccccdddd");
}

TEST_F(RemoteProcessorTest, ProcessorThatIsGoneLeavesNothingBehind) {
  begin();
  log("lost");
  processor.reset();
  pass(10'000);
  EXPECT_EQ(peer.received(), "");
  EXPECT_THAT(peer.targets(), SizeIs(1));
}

}  // namespace
}  // namespace kelm::testing
