#include "kelm/platform/console.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <string>

#include "kelm/base/mutex.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace {

constexpr int kFullConsoleMilliseconds = 1000;

/// There is one standard error, however many services write to it.
Mutex standardError;

/// Keeps a write to a closed pipe from ending the process, and hides the signal that it raised.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigemptyset(&broken_);
    sigaddset(&broken_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &broken_, &earlier_);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  ~BrokenPipeGuard() {
    const timespec atOnce{};
    if (!wasPending_) retried([&] { return sigtimedwait(&broken_, nullptr, &atOnce); });
    pthread_sigmask(SIG_SETMASK, &earlier_, nullptr);
  }

 private:
  sigset_t broken_;
  sigset_t earlier_;
  bool wasPending_ = false;
};

class StandardError : public Console {
 public:
  void writeLine(std::string_view text) override {
    std::string line;
    line.reserve(text.size() + 1);
    line.append(text).push_back('\n');
    const Lock lock(standardError);
    const BrokenPipeGuard guard;
    write(line);
  }

 private:
  /// Gives up on a console that is closed, or that does not block and is not read.
  static void write(std::string_view line) {
    while (!line.empty()) {
      const ssize_t count =
          retried([&] { return ::write(STDERR_FILENO, line.data(), line.size()); });
      if (count >= 0) {
        line.remove_prefix(static_cast<std::size_t>(count));
      } else {
        pollfd full{STDERR_FILENO, POLLOUT, 0};
        if (errno != EAGAIN || ::poll(&full, 1, kFullConsoleMilliseconds) != 1) return;
      }
    }
  }
};

}  // namespace

std::shared_ptr<Console> Console::makeSystem() { return std::make_shared<StandardError>(); }

}  // namespace kelm::platform
