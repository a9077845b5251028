#include "kelm/platform/console.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kelm::testing {
namespace {

/// A pipe in the place of standard error, for a scope.
class PipedError {
 public:
  PipedError() {
    if (::pipe2(ends_.data(), O_CLOEXEC) == 0) ::dup2(ends_[1], STDERR_FILENO);
    ::close(ends_[1]);
  }
  ~PipedError() {
    restore();
    if (ends_[0] >= 0) ::close(ends_[0]);
  }
  void closeReader() { ::close(std::exchange(ends_[0], -1)); }
  std::string readToEnd() const {
    std::string text;
    std::array<char, 4096> buffer;
    for (ssize_t count; (count = ::read(ends_[0], buffer.data(), buffer.size())) > 0;)
      text.append(buffer.data(), static_cast<std::size_t>(count));
    return text;
  }
  void restore() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(std::exchange(saved_, -1));
  }

 private:
  int saved_ = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  std::array<int, 2> ends_{-1, -1};
};

TEST(LinuxConsole, LinesOfManyThreadsStayWhole) {
  PipedError pipe;
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t)
    writers.emplace_back([&, t] {
      const auto console = platform::Console::makeSystem();
      const std::string line(30'000, static_cast<char>(t));
      for (int i = 0; i < 10; ++i)
        console->writeLine(line);
    });
  std::string all;
  std::thread reader([&] { all = pipe.readToEnd(); });
  for (std::thread& writer : writers)
    writer.join();
  pipe.restore();
  reader.join();
  ASSERT_EQ(all.size(), 40U * 30'001);
  for (std::size_t at = 0; at < all.size(); at += 30'001) {
    const std::string_view line = std::string_view(all).substr(at, 30'001);
    EXPECT_EQ(line.find_first_not_of(line[0]), 30'000U);
    EXPECT_EQ(line.back(), '\n');
  }
}

TEST(LinuxConsole, ClosedConsoleSwallowsLinesAndRaisesNoSignal) {
  const auto earlier = ::signal(SIGPIPE, SIG_DFL);
  PipedError pipe;
  pipe.closeReader();
  for (int i = 0; i < 100; ++i)
    platform::Console::makeSystem()->writeLine("nobody reads this");
  pipe.restore();
  sigset_t pending;
  ::sigpending(&pending);
  EXPECT_EQ(::sigismember(&pending, SIGPIPE), 0);
  ::signal(SIGPIPE, earlier);
}

}  // namespace
}  // namespace kelm::testing
