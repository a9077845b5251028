#include "kelm/logging/processors/vasp_logger_processor_ardis_impl.h"

#include <utility>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/logging/call_stack.h"
#include "kelm/logging/processors/pending_lines.h"
#include "kelm/logging/processors/tick.h"
#include "kelm/platform/console.h"
#include "kelm/platform/user_defaults.h"

namespace kelm {

namespace {

using platform::Dispatcher;
using platform::Stream;
using platform::StreamEvent;

constexpr auto kSendInterval = std::chrono::milliseconds(500);
constexpr auto kConnectInterval = std::chrono::seconds(5);
constexpr std::uint16_t kPort = 50505;
constexpr std::size_t kMostLinesAtOnce = 512;

platform::MainLoop& mainLoop() { return platform::current<Dispatcher>()->mainLoop(); }

void say(std::string_view text) { platform::current<platform::Console>()->writeLine(text); }

}  // namespace

/// Shared with tasks and stream events, which may come when the processor is gone. What has no lock
/// is the main thread's.
struct VaspLoggerProcessor_ArdisImpl::State : std::enable_shared_from_this<State> {
  bool joined = false;
  bool dispatching = false;
  bool awaitsCheck = false;
  logging::Tick sendTick{kSendInterval};
  logging::Tick connectTick{kConnectInterval};
  std::shared_ptr<Stream> inputStream;

  Mutex mutex;
  std::shared_ptr<Stream> outputStream KELM_GUARDED_BY(mutex);
  logging::PendingLines pending KELM_GUARDED_BY(mutex);
  bool sending KELM_GUARDED_BY(mutex) = false;  ///< the send timer exists
  bool awaitsTick KELM_GUARDED_BY(mutex) = false;

  explicit State(std::optional<std::size_t> pendingBytes) { pending.setBound(pendingBytes); }

  /// Runs a member on the main thread, unless everything is over by then.
  template <class Member>
  platform::Task task(Member member) {
    return [weak = weak_from_this(), member] {
      if (const auto self = weak.lock()) (*self.*member)();
    };
  }

  std::shared_ptr<Stream> output() {
    const Lock lock(mutex);
    return outputStream;
  }

  void connectSoon() {
    platform::current<Dispatcher>()->postGlobal(platform::Priority::Background,
                                                [weak = weak_from_this()] {
                                                  if (weak.expired()) return;
                                                  mainLoop().post([weak, host = getLogger_URL()] {
                                                    if (const auto self = weak.lock())
                                                      self->connect(host);
                                                  });
                                                });
  }

  void connect(const std::string& host) {
    try {
      const auto pair = platform::current<platform::Streams>()->connect(host, kPort);
      if (const auto earlier = output()) earlier->setDelegate(nullptr);
      joined = false;
      stopSending();
      inputStream = pair.input;
      {
        const Lock lock(mutex);
        outputStream = pair.output;
      }
      pair.output->setDelegate([weak = weak_from_this()](const Stream& stream, StreamEvent event) {
        if (const auto self = weak.lock()) self->handle(stream, event);
      });
      pair.input->open();
      pair.output->open();
    } catch (...) {  // NOLINT(bugprone-empty-catch): the next check tries again
    }
  }

  void checkConnection() {
    if (joined) return;
    say("Ardis connection not established, connecting...");
    connectSoon();
  }

  /// The check that repeats; one that would find a connection is left out.
  void awaitCheck() {
    if (joined || std::exchange(awaitsCheck, true)) return;
    mainLoop().postAfter(connectTick.untilNext(), task(&State::repeatCheck));
  }
  void repeatCheck() {
    awaitsCheck = false;
    checkConnection();
    awaitCheck();
  }

  /// A fatal line is also written at once, whether a stream is open or not.
  void process(const KelmLogModel& log) {
    const DataView line = *log.messageData;
    std::shared_ptr<Stream> direct;
    {
      const Lock lock(mutex);
      pending.add(line);
      awaitTick();
      if (log.level == log_level::kFatal || log.level == log_level::kCritical)
        direct = outputStream;
    }
    if (direct) direct->write({&line, 1});
  }

  /// The timer runs only while lines wait, so that an idle process is not woken.
  void awaitTick() KELM_REQUIRES(mutex) {
    if (!sending || pending.isEmpty() || std::exchange(awaitsTick, true)) return;
    mainLoop().postAfter(sendTick.untilNext(), task(&State::fire));
  }
  void fire() {
    {
      const Lock lock(mutex);
      awaitsTick = false;
      if (!sending) return;
    }
    checkBuffer();
  }

  void checkBuffer() {
    if (!joined || std::exchange(dispatching, true)) return;
    platform::current<Dispatcher>()->postGlobal(
        platform::Priority::Background, [weak = weak_from_this()] {
          const Date date = platform::current<platform::Clock>()->now();
          mainLoop().post([weak, date] {
            const auto self = weak.lock();
            if (!self) return;
            self->send(date);
            self->dispatching = false;
            const Lock lock(self->mutex);
            self->awaitTick();
          });
        });
  }

  void send(Date date) {
    if (!logging::isStale(date)) sendAll();
  }

  /// Tasks that arrive meanwhile wait for the next time, so that the main loop goes on.
  void sendAll() {
    const auto stream = output();
    if (!stream) return;
    std::size_t bytesLeft = 0;
    {
      const Lock lock(mutex);
      if (stream->hasSpaceAvailable()) pending.tellDropped();
      bytesLeft = pending.bytes();
    }
    while (bytesLeft > 0 && stream->hasSpaceAvailable()) {
      const Lock lock(mutex);
      const std::vector<DataView> lines = pending.first(kMostLinesAtOnce);
      if (lines.empty()) return;
      const std::size_t before = pending.bytes();
      const std::ptrdiff_t written = stream->write(lines);
      if (written < 0)
        pending.takeFirst();  // a failed write takes its line with it
      else
        pending.removeWritten(static_cast<std::size_t>(written));
      if (written == 0) return;
      bytesLeft -= std::min(bytesLeft, before - pending.bytes());
    }
  }

  void stopSending() {
    const Lock lock(mutex);
    sending = false;
  }

  void handle(const Stream& stream, StreamEvent event) {
    if (&stream == output().get()) {
      handleOutput(event);
    } else if (&stream == inputStream.get()) {
      if (event == StreamEvent::EndEncountered) say("---> 1 NSStreamEventEndEncountered");
      if (event == StreamEvent::ErrorOccurred) say("---> 1 NSStreamEventErrorOccurred");
      if (event == StreamEvent::EndEncountered || event == StreamEvent::ErrorOccurred)
        joined = false;
      awaitCheck();
    }
  }

  void handleOutput(StreamEvent event) {
    if (event == StreamEvent::OpenCompleted) {
      say("---> NSStreamEventOpenCompleted");
      joined = true;
      const Lock lock(mutex);
      if (std::exchange(sending, true)) return;
      sendTick.start();
      awaitTick();
    } else if (event == StreamEvent::ErrorOccurred) {
      say("---> NSStreamEventErrorOccurred");
      joined = false;
      stopSending();
      awaitCheck();
    } else if (event == StreamEvent::EndEncountered) {
      say("---> NSStreamEventEndEncountered");
      joined = false;
      inputStream->close();
      inputStream->setDelegate(nullptr);
      output()->setDelegate(nullptr);
      stopSending();
      awaitCheck();
    }
  }
};

VaspLoggerProcessor_ArdisImpl::VaspLoggerProcessor_ArdisImpl()
    : VaspLoggerProcessor_ArdisImpl(std::nullopt) {}

VaspLoggerProcessor_ArdisImpl::VaspLoggerProcessor_ArdisImpl(
    std::optional<std::size_t> pendingBytes)
    : state_(std::make_shared<State>(pendingBytes)) {
  initNetworkCommunication();
  mainLoop().post(state_->task(&State::awaitCheck));
}

VaspLoggerProcessor_ArdisImpl::~VaspLoggerProcessor_ArdisImpl() = default;

std::string VaspLoggerProcessor_ArdisImpl::getLogger_URL() {
  const auto host = platform::current<platform::UserDefaults>()->text("logserver");
  return host && !host->empty() ? *host : "localhost";
}

void VaspLoggerProcessor_ArdisImpl::initNetworkCommunication() { state_->connectSoon(); }

void VaspLoggerProcessor_ArdisImpl::checkConnection() { state_->checkConnection(); }

void VaspLoggerProcessor_ArdisImpl::processLog(const KelmLogModel& log) {
  try {
    if (log.messageData && !log.messageData->empty()) state_->process(log);
  } catch (...) {
    logging::reportExceptionWithStack();
  }
}

void VaspLoggerProcessor_ArdisImpl::checkBuffer() { state_->checkBuffer(); }

void VaspLoggerProcessor_ArdisImpl::doSendLogs(Date date) { state_->send(date); }

void VaspLoggerProcessor_ArdisImpl::stream_handleEvent(const platform::Stream& stream,
                                                       platform::StreamEvent event) {
  state_->handle(stream, event);
}

bool VaspLoggerProcessor_ArdisImpl::flush(std::chrono::milliseconds limit) {
  return mainLoop().runWithin(limit, [state = state_] { state->sendAll(); });
}

}  // namespace kelm
