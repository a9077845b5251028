#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace kelm::test {
namespace {

struct Ended {
  int status = -1;
  std::vector<std::string> lines;
};

Ended runProgram(const std::string& way) {
  Ended ended;
  std::FILE* const output = popen((ENDING_PROGRAM " " + way).c_str(), "r");
  if (output == nullptr) return ended;
  char line[256];
  while (std::fgets(line, sizeof line, output) != nullptr)
    ended.lines.emplace_back(line);
  const int status = pclose(output);
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return ended;
}

struct Case {
  const char* way;
  int status;
};

TEST(ProcessEnd, EveryLineArrivesHoweverTheProgramLeaves) {
  for (const Case& c : {Case{"exit", 3}, Case{"return", 5}}) {
    SCOPED_TRACE(c.way);
    const Ended ended = runProgram(c.way);
    EXPECT_EQ(ended.status, c.status);
    ASSERT_EQ(ended.lines.size(), 2001U);
    EXPECT_EQ(ended.lines.front(), "Thread-1 line 1\n");
    EXPECT_EQ(ended.lines[1999], "Thread-1 line 2000\n");
    EXPECT_EQ(ended.lines.back(), "Thread-1 destructor\n");
  }
}

TEST(ProcessEnd, CriticalRecordArrivesBeforeTheException) {
  const Ended ended = runProgram("throw");
  EXPECT_EQ(ended.status, 4);
  ASSERT_EQ(ended.lines.size(), 2003U);
  const auto place = [&](const std::string& line) {
    return std::find(ended.lines.begin(), ended.lines.end(), line);
  };
  EXPECT_LT(place("Thread-1 no key\n"), place("caught\n"));
  EXPECT_EQ(ended.lines.back(), "Thread-1 destructor\n");
}

}  // namespace
}  // namespace kelm::test
