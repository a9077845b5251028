#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "kelm/base/date.h"
#include "kelm/logging/vasp_logger_default_delegate.h"

namespace kelm {

/// Limits that a host may set; absent fields bound nothing. All count from the newest on.
struct LogFileLimits {
  std::optional<std::size_t> pendingBytes;  ///< in memory; at least that of the longest line
  std::optional<std::size_t> files;         ///< log files in Documents, critical ones too
  std::optional<std::uint64_t> fileBytes;   ///< of all of these together
};

/// Writes log lines into Documents/<milliseconds>.txt, which begins with "START\n", and each record
/// of level 5 into Documents/CRITICAL_<milliseconds>.txt. Lines stand behind each other as they
/// are, without an end of line. Including this header makes kind 2 of the default delegate.
/// Thread-safe. Files are written on a thread of its own, "com.trevalo.logs.file", so that neither
/// the logging queue nor the main loop waits for a disk; but a record of level 5 is waited for,
/// 200 ms at most. What is destroyed with pending lines has lost them: flush it first.
/// VaspLogger::flush does, and so does the end of the process by exit() or return from main.
class KELM_API VaspLoggerProcessor_FilesystemImpl : public VaspLoggerProcessorDelegate {
 public:
  /// `init` Names the file and begins it, replacing one of that name; a failure is ignored.
  VaspLoggerProcessor_FilesystemImpl();
  /// The same with limits. When the file is begun, and after each critical record, the oldest log
  /// files of Documents beyond a limit are removed; the present one never.
  explicit VaspLoggerProcessor_FilesystemImpl(LogFileLimits limits);
  ~VaspLoggerProcessor_FilesystemImpl() override;

  /// `processLog:` A record without bytes does nothing. Level 5 is written at once; another is
  /// buffered until the next half second. What is thrown meanwhile goes to the console, as
  /// "LOG ERROR %@" and the call stack, and the record is dropped. At the bound of pending bytes
  /// the oldest lines go, and a line says how many before those that are written next.
  void processLog(const KelmLogModel& log) override;
  /// `checkBuffer:` Has the buffer written on the writing thread, unless that is under way.
  void checkBuffer();
  /// `doStoreLogs:` Appends the buffered lines on the calling thread, of equal ones the first;
  /// nothing when `date` is 15 ms old. What cannot be written is lost, also where the file is gone.
  void doStoreLogs(Date date);
  /// `doStoreCriticalLog:` Writes a file of its own; of two in one millisecond the second stays.
  void doStoreCriticalLog(const KelmLogModel& log);
  /// Writes what is buffered, now. Never call it on the writing thread.
  bool flush(std::chrono::milliseconds limit) override;
  /// The full path of the file.
  const std::string& filename() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

namespace log_processor {
/// Makes kind 2 known to the default delegate.
inline const LogProcessorMaker kFileMaker(
    kFile, []() -> std::shared_ptr<VaspLoggerProcessorDelegate> {
      return std::make_shared<VaspLoggerProcessor_FilesystemImpl>();
    });
}  // namespace log_processor

}  // namespace kelm
