#include "kelm/logging/vasp_logger_default_delegate.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>

#include "kelm/base/format.h"
#include "kelm/base/utf16.h"
#include "kelm/logging/call_stack.h"
#include "kelm/logging/vasp_logger_processor_nslog_impl.h"
#include "kelm/platform/console.h"

namespace kelm {

namespace {

constexpr std::size_t kLineCapacity = 1024;
constexpr std::size_t kMostKeptPrefixes = 256;
constexpr LogLevel kUnknownLevel = 6;

std::string_view levelPrefix(LogLevel level) {
  switch (level) {
    case log_level::kDebug:
      return "◯[DEBUG] ";
    case log_level::kInfo:
      return "🔵[INFO] ";
    case log_level::kWarn:
      return "⚠️[WARN] ";
    case log_level::kError:
      return "🔴[ERROR] ";
    case log_level::kFatal:
    case log_level::kCritical:
      return "❗[FATAL] ";
    default:
      return "❓[UNKNOW] ";
  }
}

std::string makePrefix(LogLevel level, std::uint32_t aspects) {
  const auto& labels = VaspLogger::LOG_PREFIXES();
  std::string text;
  for (std::size_t i = 1; i < labels.size(); ++i) {  // label 0 is never printed
    if ((aspects >> i & 1) != 0) text += labels[i];
  }
  if (text.empty()) text = "[None]";
  return std::string(levelPrefix(level)).append(text).append(" ");
}

/// Level prefix, labels and blank, kept for the combinations in use.
class LinePrefixes {
 public:
  void appendTo(Data& line, LogLevel level, LogAspect aspect) {
    level = std::min(level, kUnknownLevel);
    const auto aspects = static_cast<std::uint32_t>(aspect);
    const Lock lock(mutex_);
    if (texts_.size() >= kMostKeptPrefixes) texts_.clear();
    auto [place, isNew] = texts_.try_emplace(level << 32 | aspects);
    if (isNew) place->second = makePrefix(level, aspects);
    append(line, place->second);
  }

 private:
  Mutex mutex_;
  std::unordered_map<std::uint64_t, std::string> texts_ KELM_GUARDED_BY(mutex_);
};

LinePrefixes& linePrefixes() {
  static auto* const kPrefixes = new LinePrefixes;
  return *kPrefixes;
}

/// A static object's constructor may fill it before any other is made.
std::atomic<LogProcessorMaker::Make>& makerOf(LogProcessorKind kind) {
  static constinit std::atomic<LogProcessorMaker::Make> remote{nullptr}, file{nullptr};
  return kind == log_processor::kRemote ? remote : file;
}

}  // namespace

LogProcessorMaker::LogProcessorMaker(LogProcessorKind kind, Make make) { makerOf(kind) = make; }

LogProcessorKind VaspLoggerDefaultDelegate::loggerProcessor() const {
  return log_processor::kSystemLog;
}

std::shared_ptr<VaspLoggerProcessorDelegate> VaspLoggerDefaultDelegate::getLoggerProcessorImpl() {
  const RecursiveLock lock(mutex_);
  if (processorDelegate_) return processorDelegate_;
  const LogProcessorKind kind = loggerProcessor();
  if (kind == log_processor::kSystemLog) {
    processorDelegate_ = std::make_shared<VaspLoggerProcessor_NSLogImpl>();
  } else if (kind == log_processor::kRemote || kind == log_processor::kFile) {
    if (const auto make = makerOf(kind).load())
      processorDelegate_ = make();
    else if (!std::exchange(saidUnavailable_, true))
      platform::current<platform::Console>()->writeLine(kelm::format(
          "LOG ERROR log processor %d is missing, records are dropped: include its header of "
          "kelm/logging/processors and link KelmCore::processors",
          kind));
  }
  return processorDelegate_;
}

bool VaspLoggerDefaultDelegate::flush(std::chrono::milliseconds limit) {
  std::shared_ptr<VaspLoggerProcessorDelegate> processor;
  {
    const RecursiveLock lock(mutex_);
    processor = processorDelegate_;
  }
  return !processor || processor->flush(limit);
}

void VaspLoggerDefaultDelegate::logwithLevel_aspect_from_threadName_message(
    LogLevel level, LogAspect aspect, const char* from, std::string_view /*threadName*/,
    std::string_view message) {
  try {
    Data line;
    line.reserve(std::max(kLineCapacity, message.size() + kLineCapacity / 2));
    linePrefixes().appendTo(line, level, aspect);
    if (isValidUtf8(message))
      append(line, message);
    else
      append(line, repairedUtf8(message));
    const auto processor = getLoggerProcessorImpl();
    if (!processor) return;
    KelmLogModel log;
    log.aspect = aspect;
    log.level = level;
    log.source = from;
    log.messageData = std::move(line);
    processor->processLog(log);
  } catch (...) {
    logging::reportExceptionWithStack();
  }
}

}  // namespace kelm
