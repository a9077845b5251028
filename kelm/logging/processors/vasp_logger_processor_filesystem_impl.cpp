#include "kelm/logging/processors/vasp_logger_processor_filesystem_impl.h"

#include <string>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/logging/call_stack.h"
#include "kelm/logging/processors/log_folder.h"
#include "kelm/logging/processors/pending_lines.h"
#include "kelm/logging/processors/tick.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/home_folders.h"

namespace kelm {

namespace {

using platform::FileSystem;

constexpr auto kInterval = std::chrono::milliseconds(500);
constexpr auto kCriticalLimit = std::chrono::milliseconds(200);

}  // namespace

/// Shared with the tasks on the writing thread, which may run when the processor is gone.
struct VaspLoggerProcessor_FilesystemImpl::State : std::enable_shared_from_this<State> {
  explicit State(LogFileLimits most) : limits(most) { pending.setBound(most.pendingBytes); }

  const LogFileLimits limits;
  const std::string folder = platform::current<platform::HomeFolders>()->documents();
  const std::string filename = folder + '/' + logging::timeStamp() + ".txt";
  const std::shared_ptr<platform::Queue> queue =
      platform::current<platform::Dispatcher>()->makeSerialQueue("com.trevalo.logs.file");
  const logging::Tick tick{kInterval};
  Mutex writing;  ///< one flush at a time
  Mutex mutex;
  logging::PendingLines pending KELM_GUARDED_BY(mutex);
  bool awaitsTick KELM_GUARDED_BY(mutex) = false;
  bool dispatching KELM_GUARDED_BY(mutex) = false;

  void begin() {
    queue->post([self = shared_from_this()] {
      const auto& files = platform::current<FileSystem>();
      static_cast<void>(files->createDirectories(self->folder));
      static_cast<void>(files->replaceFile(self->filename, bytesOf("START\n")));
      self->removeOld();
    });
  }

  void removeOld() const {
    logging::removeOldLogs(folder, filename, limits.files, limits.fileBytes);
  }

  void add(DataView line) {
    const Lock lock(mutex);
    pending.add(line);
    awaitTick();
  }

  /// The timer runs only while lines wait, so that an idle process is not woken.
  void awaitTick() KELM_REQUIRES(mutex) {
    if (pending.isEmpty() || std::exchange(awaitsTick, true)) return;
    queue->postAfter(tick.untilNext(), [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->fire();
    });
  }

  void fire() {
    {
      const Lock lock(mutex);
      awaitsTick = false;
    }
    checkBuffer();
  }

  void checkBuffer() {
    {
      const Lock lock(mutex);
      if (std::exchange(dispatching, true)) return;
    }
    const Date date = platform::current<platform::Clock>()->now();
    queue->post([self = shared_from_this(), date] {
      self->store(date);
      const Lock lock(self->mutex);
      self->dispatching = false;
      self->awaitTick();
    });
  }

  void store(Date date) {
    if (!logging::isStale(date)) storeAll();
  }

  void storeAll() {
    const Lock order(writing);
    std::vector<Data> lines;
    {
      const Lock lock(mutex);
      pending.tellDropped();
      while (!pending.isEmpty())
        lines.push_back(pending.takeFirst());
    }
    if (lines.empty()) return;
    const std::vector<DataView> pieces(lines.begin(), lines.end());
    static_cast<void>(platform::current<FileSystem>()->appendToFile(filename, pieces));
  }

  void storeCritical(Data bytes) {
    std::string path = folder + "/CRITICAL_" + logging::timeStamp() + ".txt";
    queue->runWithin(kCriticalLimit,
                     [self = shared_from_this(), path = std::move(path), bytes = std::move(bytes)] {
                       static_cast<void>(platform::current<FileSystem>()->replaceFile(path, bytes));
                       self->removeOld();
                     });
  }
};

VaspLoggerProcessor_FilesystemImpl::VaspLoggerProcessor_FilesystemImpl()
    : VaspLoggerProcessor_FilesystemImpl(LogFileLimits()) {}

VaspLoggerProcessor_FilesystemImpl::VaspLoggerProcessor_FilesystemImpl(LogFileLimits limits)
    : state_(std::make_shared<State>(limits)) {
  state_->begin();
}

VaspLoggerProcessor_FilesystemImpl::~VaspLoggerProcessor_FilesystemImpl() = default;

void VaspLoggerProcessor_FilesystemImpl::processLog(const KelmLogModel& log) {
  try {
    if (!log.messageData || log.messageData->empty()) return;
    if (log.level == log_level::kCritical)
      doStoreCriticalLog(log);
    else
      state_->add(*log.messageData);
  } catch (...) {
    logging::reportExceptionWithStack();
  }
}

void VaspLoggerProcessor_FilesystemImpl::checkBuffer() { state_->checkBuffer(); }

void VaspLoggerProcessor_FilesystemImpl::doStoreLogs(Date date) { state_->store(date); }

void VaspLoggerProcessor_FilesystemImpl::doStoreCriticalLog(const KelmLogModel& log) {
  if (log.messageData) state_->storeCritical(*log.messageData);
}

bool VaspLoggerProcessor_FilesystemImpl::flush(std::chrono::milliseconds limit) {
  return state_->queue->runWithin(limit, [state = state_] { state->storeAll(); });
}

const std::string& VaspLoggerProcessor_FilesystemImpl::filename() const { return state_->filename; }

}  // namespace kelm
