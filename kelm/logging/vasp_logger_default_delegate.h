#pragma once

#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/logging/kelm_log_model.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

/// Which processor gets the log lines.
using LogProcessorKind = int;
namespace log_processor {
inline constexpr LogProcessorKind kRemote = 1;  // not in this version
inline constexpr LogProcessorKind kFile = 2;    // not in this version
inline constexpr LogProcessorKind kSystemLog = 3;
}  // namespace log_processor

/// The delegate that the logger installs by itself: makes each record one line of UTF-8 bytes,
/// "<level prefix><labels> <message>", and hands it to one processor, which subclasses choose.
/// Thread-safe.
class KELM_API VaspLoggerDefaultDelegate : public VaspLogDelegate {
 public:
  /// `loggerProcessor` The system log; overridden to choose another. The remote and file
  /// processors do not exist in this version: the console says so once, and every record is
  /// dropped. Any other number drops every record in silence.
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

 private:
  RecursiveMutex mutex_;  // a subclass's loggerProcessor() may ask for the processor
  std::shared_ptr<VaspLoggerProcessorDelegate> processorDelegate_ KELM_GUARDED_BY(mutex_);
  bool saidUnavailable_ KELM_GUARDED_BY(mutex_) = false;
};

}  // namespace kelm
