#include "kelm/testing/log_capture.h"

#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace kelm::testing {

namespace {

constexpr auto kLimit = std::chrono::minutes(1);

void flush() {
  if (!VaspLogger::flush(kLimit)) throw std::runtime_error("the log does not get delivered");
}

std::function<void(std::string_view)>& installedWatcher() {
  static auto* const watcher = new std::function<void(std::string_view)>;
  return *watcher;
}

}  // namespace

void LogCapture::watch(std::function<void(std::string_view message)> watcher) {
  installedWatcher() = std::move(watcher);
}

class LogCapture::Collector : public VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(LogLevel level, LogAspect aspect,
                                                   const char* from, std::string_view threadName,
                                                   std::string_view message) override {
    if (const auto& watcher = installedWatcher()) watcher(message);
    const Lock lock(mutex);
    records.push_back({level, aspect, from != nullptr ? from : "", std::string(threadName),
                       std::string(message)});
  }

  Mutex mutex;
  std::vector<Record> records KELM_GUARDED_BY(mutex);
};

LogCapture::LogCapture() : collector_(std::make_shared<Collector>()) {
  flush();
  VaspLogger::setLogDelegate(collector_);
}

LogCapture::~LogCapture() {
  VaspLogger::flush(kLimit);
  VaspLogger::setLogDelegate(nullptr);
}

std::vector<LogCapture::Record> LogCapture::records() const {
  flush();
  const Lock lock(collector_->mutex);
  return collector_->records;
}

std::vector<std::string> LogCapture::lines(std::string_view source) const {
  static constexpr const char* kLevels[] = {"DEBUG ", "INFO ",  "WARN ",
                                            "ERROR ", "FATAL ", "FATAL "};
  std::vector<std::string> lines;
  std::string joined;  // the pieces so far; a critical record may come between two of them
  for (const Record& record : records()) {
    if (record.source.find(source) == std::string::npos) continue;
    std::size_t number = 1, count = 1;
    int mark = 0;  // "[2/3]" before the text: a piece of a longer one
    if (std::sscanf(record.message.c_str(), "[%zu/%zu]%n", &number, &count, &mark) == 2 && mark > 0)
      joined.append(record.message, static_cast<std::size_t>(mark));
    if (mark > 0 && number < count) continue;
    const std::string text = mark > 0 ? std::exchange(joined, {}) : record.message;
    const bool hasStack = record.level >= log_level::kError && record.level <= log_level::kCritical;
    lines.push_back((record.level < std::size(kLevels) ? kLevels[record.level] : "UNKNOW ") +
                    (hasStack ? text.substr(0, text.find('\n')) : text));
  }
  return lines;
}

void LogCapture::clear() {
  flush();
  const Lock lock(collector_->mutex);
  collector_->records.clear();
}

}  // namespace kelm::testing
