#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "kelm/base/date.h"
#include "kelm/logging/vasp_logger_default_delegate.h"
#include "kelm/platform/streams/stream.h"

namespace kelm {

/// Streams log lines over TCP to port 50505 of a log server, as they are: nothing stands between
/// them, nothing is encrypted, and nobody proves who he is. Lines wait in memory, without a bound
/// unless a host sets one, until a connection is open; it is tried again every 5 seconds. Including
/// this header makes kind 1 of the default delegate. Thread-safe but for the operations that are
/// the main thread's. Nothing of it waits for the peer, for a name or for the settings' disk; a
/// connection needs the main loop to run.
class KELM_API VaspLoggerProcessor_ArdisImpl : public VaspLoggerProcessorDelegate {
 public:
  /// `init` Begins to connect.
  VaspLoggerProcessor_ArdisImpl();
  /// The same with a bound, in bytes: beyond it the oldest lines go, but for one that is sent in
  /// part, and a line says how many when sending goes on.
  explicit VaspLoggerProcessor_ArdisImpl(std::optional<std::size_t> pendingBytes);
  ~VaspLoggerProcessor_ArdisImpl() override;

  /// `getLogger_URL` The host: the setting "logserver" of the user defaults, read at each call;
  /// "localhost" when it is absent or empty.
  static std::string getLogger_URL();
  /// `initNetworkCommunication` Makes a new connection in place of any other, from any thread: the
  /// host is read on a worker thread, the rest is done on the main one.
  void initNetworkCommunication();
  /// `checkConnection` Connects again, and says so on the console, unless connected. Main thread.
  void checkConnection();
  /// `processLog:` Keeps a copy of the bytes for sending; a record without any does nothing. Levels
  /// 4 and 5 are also written at once, so that their line usually arrives twice. What is thrown
  /// meanwhile goes to the console, as "LOG ERROR %@" and the call stack, and the record is
  /// dropped.
  void processLog(const KelmLogModel& log) override;
  /// `checkBuffer:` Has the buffer sent when connected, unless that is under way. Main thread.
  void checkBuffer();
  /// `doSendLogs:` Sends as far as there is space, of equal lines the first; what was written in
  /// part goes on there the next time. Nothing when `date` is 15 ms old. Main thread.
  void doSendLogs(Date date);
  /// `stream:handleEvent:` Main thread.
  void stream_handleEvent(const platform::Stream& stream, platform::StreamEvent event);
  /// Sends what there is space for, on the main thread; false when that does not get to it in time.
  bool flush(std::chrono::milliseconds limit) override;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

namespace log_processor {
/// Makes kind 1 known to the default delegate.
inline const LogProcessorMaker kRemoteMaker(
    kRemote, []() -> std::shared_ptr<VaspLoggerProcessorDelegate> {
      return std::make_shared<VaspLoggerProcessor_ArdisImpl>();
    });
}  // namespace log_processor

}  // namespace kelm
