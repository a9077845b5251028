#include "kelm/logging/vasp_logger.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/logging/call_stack.h"
#include "kelm/logging/delegate_slot.h"
#include "kelm/logging/log_pieces.h"
#include "kelm/logging/log_queue.h"
#include "kelm/logging/text_buffer.h"
#include "kelm/platform/process.h"
#include "kelm/platform/reporting.h"

namespace kelm {

namespace {

using namespace logging;  // NOLINT(google-build-using-namespace): the logger's own parts

constexpr std::size_t kStackLines = 50;
constexpr std::size_t kStackTextCapacity = 1024;
constexpr auto kExitLimit = std::chrono::seconds(2);

/// The process is in exit(): what is still logged, say by destructors of static objects, is waited
/// for at once, as long as the delegate keeps up.
std::atomic<bool> isLeaving{false};

DelegateSlot& slot() {
  static auto* const kSlot = new DelegateSlot;
  return *kSlot;
}

/// 1 for the thread that the process began with; others from 2 on as they come.
std::uint32_t threadNumber() {
  static std::atomic<std::uint32_t> last{1};
  thread_local std::uint32_t number = 0;
  if (number == 0) number = platform::isFirstThread() ? 1 : ++last;
  return number;
}

std::string threadName(std::uint32_t number) { return "Thread-" + std::to_string(number); }

/// What runs on the logging queue.
class Delivery {
 public:
  void deliver(const LogRecord& record) {
    VaspLogDelegate* const delegate = hold_.current();
    if (delegate == nullptr) return;
    if (record.thread != thread_) {
      thread_ = record.thread;
      threadName_ = threadName(thread_);
    }
    const auto send = [&](std::string_view piece) {
      try {
        delegate->logwithLevel_aspect_from_threadName_message(record.level, record.aspect,
                                                              record.source, threadName_, piece);
      } catch (...) {
        platform::reportException();
      }
    };
    if (record.size <= kPieceUnits)  // no text has more units than bytes
      send(record.message());
    else
      forEachPiece(record.message(), send);
  }
  void rest() { hold_.release(); }

 private:
  DelegateHold hold_{slot()};
  std::uint32_t thread_ = 0;
  std::string threadName_ = threadName(0);
};

LogQueue* makeQueue() {
  auto* const delivery = new Delivery;
  auto* const queue = new LogQueue([delivery](const LogRecord& r) { delivery->deliver(r); },
                                   [delivery] { delivery->rest(); });
  void* warmUp[1];  // the first capture is slow
  platform::captureCallStack(warmUp);
  std::atexit([] { isLeaving = VaspLogger::flush(kExitLimit); });
  return queue;
}

LogQueue& queue() {
  static LogQueue* const kQueue = makeQueue();
  return *kQueue;
}

bool hasStack(LogLevel level) { return level - log_level::kError <= 1; }

void appendCallerStack(std::string& text, const void* caller) {
  text.reserve(text.size() + kStackTextCapacity);
  text.push_back('\n');
  appendCallStack(text, caller, kStackLines);
}

void enqueue(LogRecord* record, LogAspect aspect, LogLevel level, const char* source) {
  record->level = level;
  record->aspect = aspect;
  record->source = source;
  record->thread = threadNumber();
  LogQueue& records = queue();
  records.push(record);
  if (isLeaving.load(std::memory_order_relaxed) && !records.isOwnThread() &&
      !records.flush(kExitLimit))
    isLeaving = false;
}

std::string exitText(std::string_view start, const void* caller) {
  std::string text;
  text.reserve(kStackTextCapacity);
  text.append(start).append("requested exit(0)\n");
  appendCallStack(text, caller, kAllLines);
  return text;
}

}  // namespace

const std::array<std::string_view, 32>& VaspLogger::LOG_PREFIXES() {
  static constexpr std::array<std::string_view, 32> kLabels = {"[NOTIFICATION_CENTER]",
                                                               "[PARAM_RES]",
                                                               "[INTERNAL]",
                                                               "[CONTEXTS]",
                                                               "[EXTERNAL_EVENTS]",
                                                               "[COMPONENTS]",
                                                               "[PERMISSIONS]",
                                                               "[STACK]",
                                                               "[NET]",
                                                               "[CRYPTO]",
                                                               "[FRAME]",
                                                               "[LIFE]",
                                                               "[FILE]",
                                                               "[ACTIONS]",
                                                               "[CONDITIONS]",
                                                               "[STYLE]",
                                                               "[DS]",
                                                               "[COMPONENT_UPDATE]",
                                                               "[TRIGGERS]",
                                                               "[UPDATER]",
                                                               "[GPS]",
                                                               "[FRONTEND]",
                                                               "[ALERT]",
                                                               "[FONT]",
                                                               "[JS]",
                                                               "[WEBVIEW]",
                                                               "[TOUCHID]",
                                                               "[KEYCHAIN]",
                                                               "[MT]",
                                                               "[PUSH_NOTIFICATIONS]",
                                                               "[TRACE]",
                                                               "[FRONTENDD]"};
  return kLabels;
}

void VaspLogger::setLogDelegate(std::shared_ptr<VaspLogDelegate> delegate) {
  slot().set(std::move(delegate));
}

void VaspLogger::logFormatted(LogLevel level, LogAspect aspect, const char* from,
                              std::string_view format, std::span<const FormatArgument> arguments) {
  try {
    slot().fill();
    TextBuffer text;
    appendFormat(*text, format, arguments);
    if (hasStack(level)) appendCallerStack(*text, __builtin_return_address(0));
    enqueue(makeRecord(*text), aspect, level, from);
  } catch (...) {  // an argument that cannot be described, or no memory
    platform::reportException();
  }
}

void VaspLogger::logText(LogLevel level, LogAspect aspect, const char* from, std::string text) {
  try {
    slot().fill();
    if (hasStack(level)) appendCallerStack(text, __builtin_return_address(0));
    enqueue(makeRecordOf(std::move(text)), aspect, level, from);
  } catch (...) {  // no memory
    platform::reportException();
  }
}

void VaspLogger::logwithLevel_aspect_formattedMessage(LogLevel level, LogAspect aspect,
                                                      std::string_view message) {
  logWithAspect_level_message_source(aspect, level, message, "SW");
}

void VaspLogger::logWithAspect_level_message_source(LogAspect aspect, LogLevel level,
                                                    std::string_view message, const char* source) {
  try {
    enqueue(makeRecord(message), aspect, level, source);
  } catch (...) {  // no memory
    platform::reportException();
  }
}

std::string VaspLogger::getThreadName() { return threadName(threadNumber()); }

void VaspLogger::logEventAndExit() {
  slot().fill();
  throw Exception(exception_name::kGeneric, exitText("", __builtin_return_address(0)));
}

void VaspLogger::logEventAndExit(std::string_view message) {
  slot().fill();
  const std::string text = exitText(std::string(message) + "\n ", __builtin_return_address(0));
  try {
    if (const auto delegate = slot().get())
      delegate->logwithLevel_aspect_from_threadName_message(log_level::kCritical, log_aspect::kLife,
                                                            "+[VaspLogger logEventAndExit:]",
                                                            getThreadName(), text);
  } catch (...) {
    platform::reportException();
  }
  throw Exception(exception_name::kGeneric, message);
}

bool VaspLogger::flush(std::chrono::milliseconds limit) {
  using std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kNone{0}, kLongest = std::chrono::hours(24 * 365);
  const auto end = steady_clock::now() + std::clamp(limit, kNone, kLongest);
  if (!queue().flush(limit)) return false;
  const auto delegate = slot().get();
  return !delegate || delegate->flush(std::chrono::ceil<std::chrono::milliseconds>(
                          std::max<steady_clock::duration>(end - steady_clock::now(), kNone)));
}

}  // namespace kelm
