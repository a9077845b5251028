#include "kelm/queue/kelm_reliable_queue.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/file_system.h"
#include "kelm/queue/payload_name.h"

namespace kelm {

namespace {

constexpr std::size_t kDirectoryLimit = 201;
constexpr int kDuplicateNamePolls = 100;
constexpr std::size_t kLargestPayloadBytes = 102400;

constexpr LogAspect kInternal = log_aspect::kInternal;
constexpr LogAspect kFrontend = log_aspect::kFrontend | log_aspect::kInternal;
constexpr LogAspect kTrace = log_aspect::kTrace | log_aspect::kFrontend;

constexpr const char* kSave = "-[KelmReliableQueue savePayload:withQueueID:]";
constexpr const char* kProcess = "-[KelmReliableQueue processQueueWithID:]";
constexpr const char* kReset = "-[KelmReliableQueue resetQueueWithID:]";

template <class... Arguments>
void report(LogLevel level, LogAspect aspect, const char* from,
            FormatString<std::type_identity_t<Arguments>...> format,
            const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(level, aspect, from, format, arguments...);
}

// `folder` joined with `name`; absent without a folder, so that no file lands elsewhere.
std::optional<std::string> join(std::optional<std::string> folder, std::string_view name) {
  if (!folder || folder->empty()) return std::nullopt;
  while (folder->ends_with('/'))
    folder->pop_back();
  return std::move(*folder) + '/' + std::string(name);
}

// What the handler raises without a key is a failed store.
bool store(const VaspSecureFileHandler& files, DataView payload,
           const std::optional<std::string>& path) {
  try {
    return files.storeNSData_withFullpath(payload, path);
  } catch (const Exception&) {
    return false;
  }
}

// Raises what the handler raises without a key.
std::optional<Data> read(const VaspSecureFileHandler& files, const std::string& path) {
  constexpr std::size_t kLargestFileBytes = kLargestPayloadBytes + 16;
  const auto status = platform::current<platform::FileSystem>()->status(path);
  // A file that is longer holds more than the largest payload, or none: it may not fit in memory.
  if (status && status->size > kLargestFileBytes) return std::nullopt;
  // What is known to be there needs no second look.
  if (status && status->kind == platform::FileKind::Regular) return files.readNSDataFromPath_(path);
  return files.readNSDataWithFullpath(path);
}

ReliableQueueDone makeDone(const std::shared_ptr<VaspSecureFileHandler>& files,
                           const std::string& path) {
  // A file of the same name that is saved after the removal is not this payload any more.
  auto removed = std::make_shared<std::atomic<bool>>(false);
  return [files, path, removed](const std::optional<Error>& error) {
    report(log_level::kInfo, kInternal, kProcess, "Process payload completed with error:%@", error);
    if (error || removed->exchange(true)) return;
    if (!files->removeFileWithFullPath(path)) removed->store(false);
  };
}

bool isStillThere(const VaspSecureFileHandler& files, const std::optional<std::string>& path) {
  for (int check = 0; check <= kDuplicateNamePolls; ++check) {
    if (!files.existsFullPath(path)) return false;
  }
  return true;
}

}  // namespace

KelmReliableQueue::KelmReliableQueue() = default;
KelmReliableQueue::~KelmReliableQueue() = default;

KelmReliableQueue& KelmReliableQueue::getInstance() {
  static auto* const kShared = new KelmReliableQueue;
  return *kShared;
}

void KelmReliableQueue::setProcessorHandler_withQueueID(ReliableQueueProcessor processor,
                                                        std::optional<std::string_view> queueId) {
  if (processor && queueId) {
    auto kept = std::make_shared<const ReliableQueueProcessor>(std::move(processor));
    const Lock lock(stateMutex_);
    processorTable_[std::string(*queueId)].swap(kept);
  }
  if (queueId != payload_name::kSeparator) return;
  report(log_level::kInfo, kFrontend, "-[KelmReliableQueue setProcessorHandler:withQueueID:]",
         "Cant use ___ in the queue name");
  VaspLogger::logEventAndExit("Using ___ as queue name is forbidden");
}

void KelmReliableQueue::savePayload_withQueueID(std::optional<DataView> payload,
                                                std::optional<std::string_view> queueId) {
  const RecursiveLock lock(mutex_);
  if (!payload || !queueId) {
    report(log_level::kError, kFrontend, kSave,
           "Cant Commit a payload with size %@ for queueID: %@", payload ? payload->size() : 0,
           queueId);
    return;
  }
  if (!processorFor(*queueId)) {
    report(log_level::kError, kFrontend, kSave, "No processor found for queue ID %@", queueId);
    return;
  }
  const auto files = getFileHandler();
  files->ensureFullPathExists_andClearFiles(queueFilePath(), false);
  removeOldestPayloadIfLimitReached();
  const Date now = platform::current<platform::Clock>()->now();
  const std::string name = payload_name::make(now, *queueId);
  report(log_level::kInfo, kInternal, kSave, "Saving a payload with filename:%@", name);
  std::optional<std::string> path;
  if (payload_name::staysInFolder(*queueId)) path = join(queueFilePath(), name);
  if (isStillThere(*files, path)) {
    report(log_level::kInfo, kInternal, kSave,
           "Dropping ReliableQueue due to too many items to enqueue in 1 millisecond");
    return;
  }
  if (!store(*files, *payload, path)) report(log_level::kError, kFrontend, kSave, "Cant save file");
}

void KelmReliableQueue::removeOldestPayloadIfLimitReached() {
  std::vector<std::string> paths = listFiles();
  if (paths.size() < kDirectoryLimit) return;
  report(log_level::kWarn, kFrontend, "-[KelmReliableQueue removeOldestPayloadIfLimitReached]",
         "Too many events in queue removing...");
  removePayloadFile(*std::min_element(paths.begin(), paths.end()));
}

void KelmReliableQueue::processQueueWithID(std::optional<std::string_view> queueId) {
  const RecursiveLock lock(mutex_);
  std::vector<std::string> paths = listFiles();
  if (paths.empty()) {
    report(log_level::kDebug, kInternal, kProcess, "ReliableQueue %@ processing complete", queueId);
    return;
  }
  const std::string wanted = format("%@%@", payload_name::kSeparator, queueId);
  std::erase_if(paths,
                [&](const std::string& path) { return path.find(wanted) == std::string::npos; });
  std::sort(paths.begin(), paths.end());
  auto following = static_cast<std::int64_t>(paths.size());
  for (const std::string& path : paths)
    offer(path, --following);
}

void KelmReliableQueue::offer(const std::string& path, std::int64_t following) {
  const auto files = getFileHandler();
  report(log_level::kInfo, kInternal, kProcess, "Reading payload file with path: %@", path);
  bool readable = true;
  std::optional<Data> payload;
  try {
    payload = read(*files, path);
  } catch (const Exception&) {
    readable = false;  // no key: the payload is as good as before
  }
  if (!payload || payload->empty() || payload->size() > kLargestPayloadBytes) {
    report(log_level::kError, kFrontend, kProcess, "Error processing file %@", path);
    if (readable) files->removeFileWithFullPath(path);
    return;
  }
  report(log_level::kInfo, kInternal, kProcess, "Payload size is: %@", payload->size());
  std::optional<std::string> queueId = payload_name::queueIdOf(path);
  if (!queueId) {
    report(log_level::kError, kTrace, kProcess, "Error reading queue id from filename: %@", path);
    files->removeFileWithFullPath(path);
    return;
  }
  report(log_level::kInfo, kInternal, kProcess, "Queue ID is: %@", *queueId);
  const auto processor = processorFor(*queueId);
  if (!processor) {
    report(log_level::kError, kTrace, kProcess, "Error getting handler");
    return;
  }
  (*processor)(std::move(*payload), std::move(*queueId), following, makeDone(files, path));
}

void KelmReliableQueue::resetQueueWithID(std::optional<std::string_view> queueId) {
  const auto files = getFileHandler();
  for (const std::string& path : listFiles()) {
    const std::optional<std::string> found = payload_name::queueIdOf(path);
    if (!found) {
      report(log_level::kError, kTrace, kReset, "Error reading queue id from filename: %@", path);
    }
    if (!found || found == queueId) files->removeFileWithFullPath(path);
  }
}

bool KelmReliableQueue::removePayloadFile(std::optional<std::string_view> fullPath) {
  return getFileHandler()->removeFileWithFullPath(fullPath);
}

std::shared_ptr<VaspSecureFileHandler> KelmReliableQueue::getFileHandler() {
  const Lock lock(stateMutex_);
  if (!fileHandler_) {
    fileHandler_ = std::make_shared<VaspSecureFileHandler>();
    fileHandler_->setAESKey_andIV(viewOf(filesystemKey_.get()), viewOf(filesystemIV_.get()));
  }
  return fileHandler_;
}

std::optional<std::string> KelmReliableQueue::queueFilePath() const {
  const Lock lock(stateMutex_);
  return queueFilePath_;
}

void KelmReliableQueue::setQueueFilePath(std::optional<std::string> path) {
  const Lock lock(stateMutex_);
  queueFilePath_ = std::move(path);
}

std::shared_ptr<const ReliableQueueProcessor> KelmReliableQueue::processorFor(
    std::string_view queueId) const {
  const Lock lock(stateMutex_);
  const auto found = processorTable_.find(std::string(queueId));
  return found == processorTable_.end() ? nullptr : found->second;
}

std::vector<std::string> KelmReliableQueue::listFiles() {
  return getFileHandler()->listFilesInHandlerFullPath(queueFilePath());
}

}  // namespace kelm
