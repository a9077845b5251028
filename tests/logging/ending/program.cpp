// Logs many lines and ends, in the way that the first argument names. Its delegate writes each
// message to standard output, unbuffered.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "kelm/logging/vasp_logger.h"

namespace {

using kelm::VaspLogger;

constexpr int kLines = 2000;

class Printer : public kelm::VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel, kelm::LogAspect, const char*,
                                                   std::string_view threadName,
                                                   std::string_view message) override {
    const std::string line =
        std::string(threadName).append(" ").append(message.substr(0, message.find('\n'))) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
  }
};

void log(const char* what) {
  VaspLogger::logwithLevel_aspect_from_message(kelm::log_level::kInfo, 0, "program", "%@", what);
}

struct LogsAtTheEnd {
  ~LogsAtTheEnd() { log("destructor"); }
};
LogsAtTheEnd logsAtTheEnd;  // made before the first record, destroyed after everything else

}  // namespace

int main(int count, char** arguments) {
  const std::string way = count > 1 ? arguments[1] : "";
  VaspLogger::setLogDelegate(std::make_shared<Printer>());
  for (int i = 1; i <= kLines; ++i)
    VaspLogger::logwithLevel_aspect_from_message(kelm::log_level::kInfo, 0, "program", "line %d",
                                                 i);
  if (way == "exit") std::exit(3);
  if (way == "throw") {
    try {
      VaspLogger::logEventAndExit("no key");
    } catch (const std::exception& exception) {
      std::fputs("caught\n", stdout);
      return 4;
    }
  }
  return 5;
}
