#include "kelm/queue/kelm_reliable_queue.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>
#include <vector>

#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/file_system.h"
#include "kelm/queue/folder_key.h"
#include "kelm/queue/payload_files.h"
#include "kelm/queue/payload_name.h"

namespace kelm {

namespace {

constexpr std::size_t kDirectoryLimit = 201;
constexpr int kDuplicateNamePolls = 100;
constexpr std::size_t kBlockBytes = 16;

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

// The effect of a done callback. While it can still be called the folder stays with this process.
class Settlement {
 public:
  Settlement(std::shared_ptr<VaspSecureFileHandler> files, std::string path,
             std::shared_ptr<platform::FolderLock> folder)
      : files_(std::move(files)), path_(std::move(path)), folder_(std::move(folder)) {}

  void settle(const std::optional<Error>& error) {
    report(log_level::kInfo, kInternal, kProcess, "Process payload completed with error:%@", error);
    // A file of the same name that is saved after the removal is not this payload any more.
    if (!error && !isRemoved_.exchange(true) && !files_->removeFileWithFullPath(path_))
      isRemoved_ = false;
    const Lock lock(mutex_);
    folder_.reset();
  }

 private:
  const std::shared_ptr<VaspSecureFileHandler> files_;
  const std::string path_;
  std::atomic<bool> isRemoved_{false};
  Mutex mutex_;
  std::shared_ptr<platform::FolderLock> folder_ KELM_GUARDED_BY(mutex_);
};

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
  warnOfLoss(payload->size(), *queueId);
  const auto files = getFileHandler();
  files->ensureFullPathExists_andClearFiles(queueFilePath(), false);
  if (!mayUseFolder(true, kSave)) {
    report(log_level::kError, kFrontend, kSave, "Cant save file");
    return;
  }
  removeOldestPayloadIfLimitReached();
  store(*payload, *queueId);
}

void KelmReliableQueue::store(DataView payload, std::string_view queueId) {
  const auto files = getFileHandler();
  const Date now = platform::current<platform::Clock>()->now();
  const std::string name = payload_name::make(now, queueId);
  report(log_level::kInfo, kInternal, kSave, "Saving a payload with filename:%@", name);
  std::optional<std::string> path;
  if (payload_name::staysInFolder(queueId)) path = join(queueFilePath(), name);
  auto stored = payload_files::Stored::Failed;
  for (int check = 0; path && check <= kDuplicateNamePolls; ++check) {
    stored = payload_files::Stored::NameTaken;
    if (!files->existsFullPath(path)) stored = payload_files::store(*files, payload, *path);
    if (stored != payload_files::Stored::NameTaken) break;
  }
  if (stored == payload_files::Stored::NameTaken)
    report(log_level::kInfo, kInternal, kSave,
           "Dropping ReliableQueue due to too many items to enqueue in 1 millisecond");
  else if (stored == payload_files::Stored::Failed)
    report(log_level::kError, kFrontend, kSave, "Cant save file");
}

void KelmReliableQueue::warnOfLoss(std::size_t payloadBytes, std::string_view queueId) {
  const SecretPointer key = filesystemKey_.get();
  const SecretPointer vector = filesystemIV_.get();
  const std::size_t keyBytes = key ? key->bytes().size() : kBlockBytes;
  const std::size_t vectorBytes = vector ? vector->bytes().size() : 0;
  const std::pair<bool, std::string> kinds[] = {
      {keyBytes < kBlockBytes,
       format("A key of %@ bytes is filled with zeros to %@", keyBytes, kBlockBytes)},
      {keyBytes > kBlockBytes && keyBytes != 24 && keyBytes != 32,
       format("A key of %@ bytes encrypts nothing: every save fails", keyBytes)},
      {vectorBytes < kBlockBytes,
       format("A vector of %@ bytes is filled with zeros to %@", vectorBytes, kBlockBytes)},
      {payloadBytes == 0, "Empty payloads are deleted when they are processed"},
      {payloadBytes > payload_files::kMostPayloadBytes,
       format("Payloads above %@ bytes are deleted when they are processed",
              payload_files::kMostPayloadBytes)}};
  int number = 0;
  for (const auto& [applies, text] : kinds) {
    ++number;
    if (!applies) continue;
    bool isFirst = false;
    {
      const Lock lock(stateMutex_);
      isFirst = warned_.emplace(queueId, number).second;
    }
    if (isFirst) report(log_level::kWarn, kFrontend, kSave, "%@ (queue %@)", text, queueId);
  }
}

bool KelmReliableQueue::mayUseFolder(bool isToSave, const char* from) {
  using State = FolderKey::State;
  (void)getFileHandler();  // fixes the key
  const auto key = folderKey();
  const auto folder = queueFilePath();
  if (!key || !folder || folder->empty()) return true;
  switch (isToSave ? key->claim(*folder) : key->stateOf(*folder)) {
    case State::Same:
    case State::NotSet:
      return true;
    case State::Other:
      report(log_level::kError, kFrontend, from,
             "The payloads in %@ were saved with another key or vector: nothing is touched. Set "
             "filesystemKey and filesystemIV to those, or call adoptKey() to give the payloads up",
             *folder);
      return false;
    case State::LaterLayout:
      report(log_level::kError, kFrontend, from,
             "The folder %@ was made by a later version: nothing is touched", *folder);
      return false;
    case State::Unknown:
      break;
  }
  report(log_level::kError, kFrontend, from,
         "The key of the folder %@ cannot be checked now: nothing is touched", *folder);
  return false;
}

bool KelmReliableQueue::adoptKey() {
  const RecursiveLock lock(mutex_);
  const auto files = getFileHandler();
  const auto key = folderKey();
  const auto folder = queueFilePath();
  return key && folder && !folder->empty() &&
         files->ensureFullPathExists_andClearFiles(folder, false) && !key->adopt(*folder);
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
  const auto folder = lockFolder();
  if (!folder) {
    report(log_level::kInfo, kInternal, kProcess,
           "ReliableQueue %@ is processed by somebody else, or cannot be locked", queueId);
    return;
  }
  std::vector<std::string> paths = listFiles();
  if (paths.empty()) {
    report(log_level::kDebug, kInternal, kProcess, "ReliableQueue %@ processing complete", queueId);
    return;
  }
  if (!mayUseFolder(false, kProcess)) return;
  const std::string wanted = format("%@%@", payload_name::kSeparator, queueId);
  std::erase_if(paths,
                [&](const std::string& path) { return path.find(wanted) == std::string::npos; });
  std::sort(paths.begin(), paths.end());
  auto following = static_cast<std::int64_t>(paths.size());
  for (const std::string& path : paths)
    offer(path, --following, folder);
}

// Absent while somebody else has the folder, and when that cannot be told.
std::shared_ptr<platform::FolderLock> KelmReliableQueue::lockFolder() {
  struct NoLock : platform::FolderLock {};
  const std::string folder = queueFilePath().value_or(std::string());
  {
    const Lock lock(stateMutex_);
    if (auto held = lock_.lock(); held && lockedPath_ == folder) return held;
  }
  auto locked = platform::current<platform::FileSystem>()->lockFolder(folder);
  if (!locked) {
    const std::int64_t code = locked.error().code;
    const bool isNothingThere = code == ENOENT || code == ENOTDIR;
    return isNothingThere ? std::make_shared<NoLock>() : nullptr;
  }
  std::shared_ptr<platform::FolderLock> held(std::move(*locked));
  const Lock lock(stateMutex_);
  lock_ = held;
  lockedPath_ = folder;
  return held;
}

void KelmReliableQueue::removeBroken(const std::string& path, bool isClosed) {
  std::optional<std::string> quarantine;
  {
    const Lock lock(stateMutex_);
    quarantine = quarantinePath_;
  }
  const auto files = getFileHandler();
  if (isClosed && quarantine && !quarantine->empty())
    payload_files::quarantine(*files, path, *quarantine);
  else
    files->removeFileWithFullPath(path);
}

void KelmReliableQueue::offer(const std::string& path, std::int64_t following,
                              const std::shared_ptr<platform::FolderLock>& folder) {
  using Kind = payload_files::Reading::Kind;
  const auto files = getFileHandler();
  report(log_level::kInfo, kInternal, kProcess, "Reading payload file with path: %@", path);
  payload_files::Reading reading = payload_files::read(*files, path);
  if (reading.kind != Kind::Opened) {
    report(log_level::kError, kFrontend, kProcess, "Error processing file %@", path);
    if (reading.kind != Kind::Refused) removeBroken(path, reading.kind == Kind::Closed);
    return;
  }
  report(log_level::kInfo, kInternal, kProcess, "Payload size is: %@", reading.payload.size());
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
  auto settlement = std::make_shared<Settlement>(files, path, folder);
  (*processor)(std::move(reading.payload), std::move(*queueId), following,
               [settlement](const std::optional<Error>& error) { settlement->settle(error); });
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
    const SecretPointer key = filesystemKey_.get();
    const SecretPointer vector = filesystemIV_.get();
    fileHandler_->setAESKey_andIV(viewOf(key), viewOf(vector));
    if (key)
      folderKey_ =
          std::make_shared<const FolderKey>(key->bytes(), vector ? vector->bytes() : DataView());
  }
  return fileHandler_;
}

std::shared_ptr<const FolderKey> KelmReliableQueue::folderKey() {
  const Lock lock(stateMutex_);
  return folderKey_;
}

void KelmReliableQueue::setQuarantinePath(std::optional<std::string> path) {
  const Lock lock(stateMutex_);
  quarantinePath_ = std::move(path);
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
