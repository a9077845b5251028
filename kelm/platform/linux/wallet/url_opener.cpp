#include "kelm/platform/device_services/url_opener.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace kelm::platform {

namespace {

constexpr int kLimitMilliseconds = 5000;

/// The scheme in small letters; empty for a text that has none (RFC 3986, 3.1).
std::string schemeOf(std::string_view url) {
  std::string scheme;
  for (const char c : url) {
    const char small = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const bool isLetter = small >= 'a' && small <= 'z';
    const bool isOther = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (c == ':') return scheme;
    if (!isLetter && (scheme.empty() || !isOther)) return "";
    scheme.push_back(small);
  }
  return "";
}

/// The environment without BROWSER: a text browser in it would take the terminal.
std::vector<char*> environmentOfChild() {
  std::vector<char*> variables;
  for (char** variable = environ; *variable != nullptr; ++variable)
    if (!std::string_view(*variable).starts_with("BROWSER=")) variables.push_back(*variable);
  variables.push_back(nullptr);
  return variables;
}

/// True if the program ended well within the limit; one that does not is killed.
bool endsWell(pid_t child) {
  const int end = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  pollfd wait{end, POLLIN, 0};
  // Where the kernel has no such descriptor we cannot limit the wait, and do not wait.
  if (end < 0 || poll(&wait, 1, kLimitMilliseconds) <= 0) kill(child, SIGKILL);
  if (end >= 0) close(end);
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class ProgramUrlOpener : public UrlOpener {
 public:
  explicit ProgramUrlOpener(std::vector<std::string> schemes) : schemes_(std::move(schemes)) {}

  bool open(std::string_view url) override {
    const std::string scheme = schemeOf(url);
    const bool isListed = std::find(schemes_.begin(), schemes_.end(), scheme) != schemes_.end();
    if (scheme.empty() || !isListed || url.find('\0') != url.npos) return false;
    std::string program = "gio";
    std::string verb = "open";
    std::string argument(url);
    char* const arguments[] = {program.data(), verb.data(), argument.data(), nullptr};
    const std::vector<char*> environment = environmentOfChild();
    pid_t child = 0;
    if (posix_spawnp(&child, "gio", nullptr, nullptr, arguments, environment.data()) != 0)
      return false;
    return endsWell(child);
  }

 private:
  const std::vector<std::string> schemes_;
};

}  // namespace

std::shared_ptr<UrlOpener> UrlOpener::makeForSchemes(std::vector<std::string> schemes) {
  return std::make_shared<ProgramUrlOpener>(std::move(schemes));
}

std::shared_ptr<UrlOpener> UrlOpener::makeSystem() { return makeForSchemes({"shoebox", "https"}); }

}  // namespace kelm::platform
