#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "gtest/gtest.h"

namespace kelm::test {
namespace {

/// What the program printed, line by line; it must end with `status`.
std::vector<std::string> linesOf(const std::string& way, int status) {
  std::vector<std::string> lines;
  std::FILE* const output = popen((ENDING_PROGRAM " " + way).c_str(), "r");
  if (output == nullptr) return lines;
  char line[256];
  while (std::fgets(line, sizeof line, output) != nullptr)
    lines.emplace_back(line);
  EXPECT_EQ(pclose(output), W_EXITCODE(status, 0));
  return lines;
}

TEST(ProcessEnd, EveryLineArrivesHoweverTheProgramLeavesACriticalOneBeforeItsException) {
  for (const auto& [way, status] : {std::pair("exit", 3), {"throw", 4}, {"return", 5}}) {
    SCOPED_TRACE(way);
    auto lines = linesOf(way, status);
    if (status == 4) {
      const auto caught = std::find(lines.begin(), lines.end(), "caught\n");
      const auto critical = std::find(lines.begin(), caught, "Thread-1 no key\n");
      ASSERT_NE(critical, caught);
      lines.erase(caught);
      lines.erase(critical);
    }
    ASSERT_EQ(lines.size(), 2001U);
    EXPECT_EQ(lines.front(), "Thread-1 line 1\n");
    EXPECT_EQ(lines[1999], "Thread-1 line 2000\n");
    EXPECT_EQ(lines.back(), "Thread-1 destructor\n");
  }
}

}  // namespace
}  // namespace kelm::test
