// What a program logs last arrives, however it ends: each ends in a process of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "kelm/logging/vasp_logger.h"

namespace kelm::testing {
namespace {

constexpr int kLines = 2000;

void log(const std::string& text) {
  VaspLogger::logwithLevel_aspect_from_message(log_level::kInfo, 0, "program", "%@", text);
}

/// Writes the first line of each message to standard error, unbuffered.
class Printer : public VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(LogLevel, LogAspect, const char*,
                                                   std::string_view threadName,
                                                   std::string_view message) override {
    const std::string line =
        std::string(threadName).append(" ").append(message.substr(0, message.find('\n'))) + "\n";
    std::fputs(line.c_str(), stderr);
    if (message == "destructor") log("echo");
  }
};

bool isEnding = false;
struct LogsAtTheEnd {
  ~LogsAtTheEnd() {
    if (!isEnding) return;
    log("destructor");
    log("last");
  }
};
LogsAtTheEnd logsAtTheEnd;  // made before the first record, destroyed after everything else

[[noreturn]] void logAndEnd(bool critically) {
  isEnding = true;
  VaspLogger::setLogDelegate(std::make_shared<Printer>());
  for (int i = 1; i <= kLines; ++i)
    log("line " + std::to_string(i));
  try {
    if (critically) VaspLogger::logEventAndExit("no key");
  } catch (const std::exception&) {
    std::fputs("Thread-1 caught\n", stderr);
  }
  std::exit(3);
}

/// Whether every line was printed; the critical one and its exception may come before others.
bool holdsAll(std::string printed, bool critically) {
  const auto take = [&](std::string_view line) {
    const std::size_t place = printed.find(line);
    if (place != printed.npos) printed.erase(place, line.size());
    return place;
  };
  if (critically) {
    const std::size_t critical = take("Thread-1 no key\n"), caught = take("Thread-1 caught\n");
    if (caught == printed.npos || critical > caught) return false;
  }
  std::string expected;
  for (int i = 1; i <= kLines; ++i)
    expected += "Thread-1 line " + std::to_string(i) + '\n';
  return printed.find(expected + "Thread-1 destructor\nThread-2 echo\nThread-1 last\n") !=
         printed.npos;
}

TEST(ProcessEndDeathTest, EveryLineArrivesInOrderAndACriticalOneBeforeItsException) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const bool critically : {false, true})
    EXPECT_EXIT(logAndEnd(critically), ::testing::ExitedWithCode(3),
                ::testing::Truly(
                    [&](const std::string& printed) { return holdsAll(printed, critically); }));
}

}  // namespace
}  // namespace kelm::testing
