#include "kelm/logging/vasp_logger.h"

#include <sstream>
#include <thread>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Calls `function` below `depth` frames, none of them optimised away.
[[gnu::noinline]] void atDepth(int depth, const std::function<void()>& function) {
  if (depth > 1)
    atDepth(depth - 1, function);
  else
    function();
  asm volatile("");  // no tail call
}

/// Names that the program exports, for the stack to show.
[[gnu::noinline]] KELM_API void exportedInner(int number) {
  VaspLogger::logwithLevel_aspect_from_message(3, 0, "inner", "named %d", number);
  asm volatile("");
}
[[gnu::noinline]] KELM_API void exportedOuter() {
  exportedInner(1);
  asm volatile("");
}

namespace {

struct LoggerTest : ::testing::Test {
  TestPlatform services;
  TestScope scope{services};
  LogCapture log;

  /// The records joined again, as lines.
  std::vector<std::string> messageLines() {
    std::string whole;
    for (const auto& [level, aspect, source, thread, message] : log.records())
      whole += message.starts_with('[') ? message.substr(message.find(']') + 1) : message;
    std::istringstream text(whole);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
      lines.push_back(line);
    return lines;
  }
};

TEST_F(LoggerTest, StackStartsAtTheCallerAndHasAtMostFiftyLines) {
  for (const int depth : {3, 49, 50, 120}) {
    SCOPED_TRACE(depth);
    log.clear();
    atDepth(depth,
            [] { VaspLogger::logwithLevel_aspect_from_message(3, 0, "deep", "deep %d", 7); });
    const auto lines = messageLines();
    ASSERT_GT(lines.size(), static_cast<std::size_t>(std::min(depth, 50)));
    EXPECT_TRUE(depth < 49 || lines.size() == 51) << lines.size();
    EXPECT_EQ(lines[0], "deep 7");
    for (std::size_t i = 1; i < lines.size(); ++i)
      EXPECT_THAT(lines[i], ::testing::ContainsRegex("^" + std::to_string(i) +
                                                     " .* 0x[0-9a-f]{16} .+ \\+ [0-9]+$"));
  }
}

TEST_F(LoggerTest, StackNamesTheCallersInOrder) {
  exportedOuter();
  const auto lines = messageLines();
  ASSERT_GT(lines.size(), 3U);
  EXPECT_THAT(lines[1], HasSubstr("kelm::testing::exportedInner(int) + "));
  EXPECT_THAT(lines[2], HasSubstr("kelm::testing::exportedOuter() + "));
  EXPECT_THAT(lines[1], HasSubstr("logging_test "));
}

std::string repeated(std::string_view unit, std::size_t count) {
  std::string text;
  while (count-- > 0)
    text += unit;
  return text;
}

TEST_F(LoggerTest, LongMessageIsSplitAtAThousandUnits) {
  const auto a = [](std::size_t n) { return std::string(n, 'a'); };
  const std::string emoji = "\U0001F600";
  const std::string broken = "\xEF\xBF\xBD";
  const struct {
    const char* what;
    std::string message;
    std::vector<std::string> pieces;
  } cases[] = {
      {"empty", "", {""}},
      {"1001", a(1001), {"[1/2]" + a(1000), "[2/2]a"}},
      {"2000: the last is empty", a(2000), {"[1/3]" + a(1000), "[2/3]" + a(1000), "[3/3]"}},
      {"1001 of two bytes", repeated("é", 1001), {"[1/2]" + repeated("é", 1000), "[2/2]é"}},
      {"500 pairs", repeated(emoji, 500), {repeated(emoji, 500)}},
      {"pair at the cut",
       a(999) + emoji + "b",
       {"[1/2]" + a(999) + broken, "[2/2]" + broken + "b"}},
      {"pairs at every cut",
       a(1) + repeated(emoji, 1000),
       {"[1/3]a" + repeated(emoji, 499) + broken, "[2/3]" + broken + repeated(emoji, 499) + broken,
        "[3/3]" + broken}},
      {"malformed bytes count one each",
       std::string(1001, '\xFF'),
       {"[1/2]" + std::string(1000, '\xFF'), "[2/2]\xFF"}},
      {"NUL inside",
       std::string(1001, '\0'),
       {"[1/2]" + std::string(1000, '\0'), "[2/2]" + std::string(1, '\0')}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    log.clear();
    VaspLogger::logwithLevel_aspect_formattedMessage(1, 2, c.message);
    std::vector<std::string> pieces;
    for (const auto& record : log.records())
      pieces.push_back(record.message);
    EXPECT_EQ(pieces, c.pieces);
  }
}

TEST_F(LoggerTest, FormattedTextIsNeverFormattedAgain) {
  for (const std::string text : {"%@", "%s%s%s%n", "100%", "%5$@", "%*d", "%999999999d", "%%"}) {
    log.clear();
    VaspLogger::logwithLevel_aspect_from_message(1, 0, "f", "got %@", text);
    VaspLogger::logwithLevel_aspect_formattedMessage(1, 0, text);
    EXPECT_THAT(log.lines(), ElementsAre("INFO got " + text, "INFO " + text));
  }
}

TEST_F(LoggerTest, ThreadsAreNumberedFromTwoAndTheFirstIsOne) {
  EXPECT_EQ(VaspLogger::getThreadName(), "Thread-1");
  std::string second;
  std::jthread([] { VaspLogger::logwithLevel_aspect_from_message(1, 0, "f", "here"); }).join();
  std::jthread([&] { second = VaspLogger::getThreadName(); }).join();
  const int number = std::stoi(log.records().at(0).threadName.substr(7));
  EXPECT_GE(number, 2);
  EXPECT_EQ(second, "Thread-" + std::to_string(number + 1));
}

TEST_F(LoggerTest, LogEventAndExitWithMessageDeliversOnItsThreadThenThrows) {
  std::jthread([&] {
    try {
      VaspLogger::logEventAndExit("no %@ key");
      ADD_FAILURE() << "went on";
    } catch (const Exception& exception) {
      EXPECT_EQ(exception.name() + exception.reason(), "NSGenericExceptionno %@ key");
    }
  }).join();
  const LogCapture::Record record = log.records().at(0);
  EXPECT_EQ(record.level, 5U);
  EXPECT_EQ(record.aspect, 0x800);
  EXPECT_EQ(record.source, "+[VaspLogger logEventAndExit:]");
  EXPECT_NE(record.threadName, "Thread-1");
  EXPECT_THAT(record.message, StartsWith("no %@ key\n requested exit(0)\n1 "));
}

TEST_F(LoggerTest, StackOfLogEventAndExitIsWholeAndItsRecordIsNotSplit) {
  EXPECT_THROW(atDepth(400, [] { VaspLogger::logEventAndExit("deep"); }), Exception);
  EXPECT_EQ(log.records().size(), 1U);
  EXPECT_GT(messageLines().size(), 401U);
}

TEST_F(LoggerTest, ArgumentThatLogsWhileItIsDescribedKeepsBothTextsWhole) {
  struct Chatty : Object {
    std::string description() const override {
      VaspLogger::logwithLevel_aspect_from_message(1, 0, "g", "inner %d", 2);
      return "chatty";
    }
  };
  VaspLogger::logwithLevel_aspect_from_message(1, 0, "f", "outer %d %@ %d", 1, Chatty(), 3);
  EXPECT_THAT(log.lines(), ElementsAre("INFO inner 2", "INFO outer 1 chatty 3"));
}

}  // namespace
}  // namespace kelm::testing
