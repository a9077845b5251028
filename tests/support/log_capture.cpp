#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

#include "kelm/base/utf16.h"
#include "tests/support/canary.h"

namespace kelm::test {

namespace {

constexpr auto kLimit = std::chrono::minutes(1);

void flush() {
  if (!VaspLogger::flush(kLimit)) throw std::runtime_error("the log does not get delivered");
}

const char* levelName(LogLevel level) {
  constexpr const char* kNames[] = {"DEBUG", "INFO", "WARN", "ERROR", "FATAL", "FATAL"};
  return level < std::size(kNames) ? kNames[level] : "UNKNOW";
}

/// "[2/3]text": which piece of how many, and its text; 1 of 1 for every other message.
struct Piece {
  std::size_t number = 1;
  std::size_t count = 1;
  std::string_view text;
};

Piece pieceOf(std::string_view message) {
  Piece piece{1, 1, message};
  std::size_t number = 0;
  std::size_t count = 0;
  int size = 0;
  const std::string head(message.substr(0, 48));
  if (std::sscanf(head.c_str(), "[%zu/%zu]%n", &number, &count, &size) != 2 || size == 0)
    return piece;
  const std::string_view text = message.substr(static_cast<std::size_t>(size));
  constexpr std::size_t kUnits = 1000;
  if (number == 0 || count < 2 || number > count) return piece;
  if (number < count && utf16Length(text) != kUnits) return piece;
  return {number, count, text};
}

}  // namespace

class LogCapture::Collector : public VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(LogLevel level, LogAspect aspect,
                                                   const char* from, std::string_view threadName,
                                                   std::string_view message) override {
    if (showsCanary(message)) ADD_FAILURE() << "a line of the log shows a secret: " << message;
    const Lock lock(mutex_);
    records_.push_back({level, aspect, from != nullptr ? from : "", std::string(threadName),
                        std::string(message)});
  }

  std::vector<Record> records() const {
    const Lock lock(mutex_);
    return records_;
  }
  void clear() {
    const Lock lock(mutex_);
    records_.clear();
  }

 private:
  mutable Mutex mutex_;
  std::vector<Record> records_ KELM_GUARDED_BY(mutex_);
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
  return collector_->records();
}

std::vector<std::string> LogCapture::lines() const {
  std::vector<std::string> lines;
  std::string text;
  for (const Record& record : records()) {
    const Piece piece = pieceOf(record.message);
    if (piece.number == 1) text.clear();
    text += piece.text;
    if (piece.number < piece.count) continue;
    const bool hasStack = record.level >= log_level::kError && record.level <= log_level::kCritical;
    const std::string_view shown =
        hasStack ? std::string_view(text).substr(0, text.find('\n')) : text;
    lines.push_back(std::string(levelName(record.level)).append(" ").append(shown));
  }
  return lines;
}

void LogCapture::clear() {
  flush();
  collector_->clear();
}

}  // namespace kelm::test
