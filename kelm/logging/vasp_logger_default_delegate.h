#pragma once

#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/logging/kelm_log_model.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

/// Which processor gets the log lines.
using LogProcessorKind = int;
namespace log_processor {
inline constexpr LogProcessorKind kRemote = 1;  // VaspLoggerProcessor_ArdisImpl
inline constexpr LogProcessorKind kFile = 2;    // VaspLoggerProcessor_FilesystemImpl
inline constexpr LogProcessorKind kSystemLog = 3;
}  // namespace log_processor

/// Tells the default delegate how the processor of a kind is made. The header of a processor that
/// is a library of its own holds one, so that logging needs no library that a host does not use:
/// including kelm/logging/processors/vasp_logger_processor_filesystem_impl.h and linking
/// KelmCore::processors is all that kind 2 takes. Thread-safe; made once a kind, and for good.
class KELM_API LogProcessorMaker {
 public:
  using Make = std::shared_ptr<VaspLoggerProcessorDelegate> (*)();
  LogProcessorMaker(LogProcessorKind kind, Make make);
};

/// The delegate that the logger installs by itself: makes each record one line of UTF-8 bytes,
/// "<level prefix><labels> <message>", and hands it to one processor, which subclasses choose.
/// Thread-safe.
class KELM_API VaspLoggerDefaultDelegate : public VaspLogDelegate {
 public:
  /// `loggerProcessor` The system log; overridden to choose another. While the remote or the file
  /// processor is chosen and no `LogProcessorMaker` makes it, the console says so once, and every
  /// record is dropped. Any other number drops every record in silence.
  virtual LogProcessorKind loggerProcessor() const;
  /// `getLoggerProcessorImpl` The processor, made by the first call that finds a known kind and
  /// kept; absent when the kind names none.
  std::shared_ptr<VaspLoggerProcessorDelegate> getLoggerProcessorImpl() KELM_EXCLUDES(mutex_);
  /// `logwithLevel:aspect:from:threadName:message:` Malformed UTF-8 in the message becomes
  /// U+FFFD; label 0 is never printed, no label prints as "[None]"; the thread's name is not
  /// used. What is thrown meanwhile goes to the console, as "LOG ERROR %@" and the call stack,
  /// and the record is dropped.
  void logwithLevel_aspect_from_threadName_message(LogLevel level, LogAspect aspect,
                                                   const char* from, std::string_view threadName,
                                                   std::string_view message) override;
  bool flush(std::chrono::milliseconds limit) override;

 private:
  RecursiveMutex mutex_;  // a subclass's loggerProcessor() may ask for the processor
  std::shared_ptr<VaspLoggerProcessorDelegate> processorDelegate_ KELM_GUARDED_BY(mutex_);
  bool saidUnavailable_ KELM_GUARDED_BY(mutex_) = false;
};

}  // namespace kelm
