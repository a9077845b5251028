#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "kelm/base/export.h"
#include "kelm/base/format.h"

namespace kelm {

/// How severe a record is; other values print as UNKNOW.
using LogLevel = std::uint64_t;
namespace log_level {
inline constexpr LogLevel kDebug = 0;
inline constexpr LogLevel kInfo = 1;
inline constexpr LogLevel kWarn = 2;
inline constexpr LogLevel kError = 3;     // the caller's stack is appended
inline constexpr LogLevel kFatal = 4;     // the caller's stack is appended
inline constexpr LogLevel kCritical = 5;  // only logEventAndExit
}  // namespace log_level

/// A set of categories; bit i stands for label i of `VaspLogger::LOG_PREFIXES()`.
using LogAspect = std::int32_t;
namespace log_aspect {
inline constexpr LogAspect kParamRes = 0x2;
inline constexpr LogAspect kInternal = 0x4;
inline constexpr LogAspect kNet = 0x100;
inline constexpr LogAspect kCrypto = 0x200;
inline constexpr LogAspect kLife = 0x800;
inline constexpr LogAspect kFile = 0x1000;
inline constexpr LogAspect kFrontend = 0x200000;
inline constexpr LogAspect kTouchId = 0x4000000;
inline constexpr LogAspect kKeychain = 0x8000000;
inline constexpr LogAspect kTrace = 0x40000000;
}  // namespace log_aspect

/// Receives every record of the logger, on its queue, one at a time and in the order of logging;
/// but `logEventAndExit` calls on the thread that logs, possibly meanwhile.
class KELM_API VaspLogDelegate {
 public:
  virtual ~VaspLogDelegate() = default;
  /// `logwithLevel:aspect:from:threadName:message:` `from` is constant text or null.
  virtual void logwithLevel_aspect_from_threadName_message(LogLevel level, LogAspect aspect,
                                                           const char* from,
                                                           std::string_view threadName,
                                                           std::string_view message) = 0;
  /// Waits, for `limit` at most, until earlier records are written as far as they can be now; false
  /// when the time was too short. From any thread.
  virtual bool flush(std::chrono::milliseconds limit) {
    static_cast<void>(limit);
    return true;
  }
};

/// The one front door of logging. Formats on the caller's thread, delivers on the serial queue
/// "com.trevalo.logs"; callers never wait for the delegate, and pending records take memory
/// without a bound. All operations are thread-safe; none throws but `logEventAndExit`. A message
/// of more than 1000 UTF-16 units arrives in pieces that begin with "[1/n]". What a delegate
/// throws goes to the console as "LOG ERROR %@". A process that ends by exit() or by returning
/// from main waits up to two seconds for what is pending; one that is killed or aborts does not.
/// The child of a fork() has no queue: until it runs another program it must not log, and it ends
/// with _exit().
class KELM_API VaspLogger {
 public:
  VaspLogger() = delete;

  /// `LOG_PREFIXES` The labels of the 32 aspect bits; the same object on every call.
  static const std::array<std::string_view, 32>& LOG_PREFIXES();
  /// `setLogDelegate:` Replaces the receiver of records; empty lets the next
  /// `logwithLevel:aspect:from:message:` install a new default one.
  static void setLogDelegate(std::shared_ptr<VaspLogDelegate> delegate);
  /// `logwithLevel:aspect:from:message:` Formats and delivers. `from` must live for ever (a
  /// literal). Levels 3 and 4 append up to 50 lines of the caller's stack.
  template <class... Arguments>
  [[gnu::always_inline]] static void logwithLevel_aspect_from_message(
      LogLevel level, LogAspect aspect, const char* from,
      FormatString<std::type_identity_t<Arguments>...> format, const Arguments&... arguments) {
    const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(0)};
    logFormatted(level, aspect, from, format.text(), std::span(list, sizeof...(Arguments)));
  }
  /// The same for a format that is known only at run time.
  [[gnu::noinline]] static void logFormatted(LogLevel level, LogAspect aspect, const char* from,
                                             std::string_view format,
                                             std::span<const FormatArgument> arguments);
  /// The same for a text that is ready; a long one is taken over, not copied.
  [[gnu::noinline]] static void logText(LogLevel level, LogAspect aspect, const char* from,
                                        std::string text);
  /// `logwithLevel:aspect:formattedMessage:` Delivers the message as it is, source "SW", no
  /// stack. Lost when no delegate is installed.
  static void logwithLevel_aspect_formattedMessage(LogLevel level, LogAspect aspect,
                                                   std::string_view message);
  /// `logWithAspect:level:message:source:` The common path: names the thread and enqueues.
  static void logWithAspect_level_message_source(LogAspect aspect, LogLevel level,
                                                 std::string_view message, const char* source);
  /// `getThreadName` "Thread-1" on the thread that the process began with; others count from 2 in
  /// the order in which they first log.
  static std::string getThreadName();
  /// `logEventAndExit` Logs nothing; throws the generic exception with the caller's stack.
  [[noreturn, gnu::noinline]] static void logEventAndExit();
  /// `logEventAndExit:` Delivers one record of level 5 on this thread, then throws the generic
  /// exception whose reason is the message.
  [[noreturn, gnu::noinline]] static void logEventAndExit(std::string_view message);

  /// Waits until what was logged before the call is delivered, and the delegate has flushed it;
  /// false when `limit` passes first, and at once on the logging queue, that is within a delegate.
  static bool flush(std::chrono::milliseconds limit);
};

}  // namespace kelm
