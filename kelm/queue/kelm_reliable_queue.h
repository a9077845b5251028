#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/error.h"
#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/file_system.h"
#include "kelm/storage/secret_data.h"
#include "kelm/storage/vasp_secure_file_handler.h"

namespace kelm {

class FolderKey;

/// Says what became of a payload: without an error its file is removed, with one it stays for the
/// next run. May be called at once or later, from any thread, any number of times, and outlives
/// the queue object; each call is logged, and removing a file that is gone is harmless.
using ReliableQueueDone = std::function<void(const std::optional<Error>& error)>;

/// Handles one payload: its bytes (1 to 102,400), the queue ID in its file's name, how many files
/// of this run follow, and the callback that says how it went. It may save to, process and reset
/// the queue from within its call; what it throws ends the run, reaches the caller and leaves the
/// files where they are.
using ReliableQueueProcessor = std::function<void(Data payload, std::string queueId,
                                                  std::int64_t following, ReliableQueueDone done)>;

/// Keeps payloads on disk, encrypted, until the processor of their queue says that it is done with
/// them. All queues share one folder; a payload is one file, "<milliseconds>___<queue ID>.dat". A
/// payload that was saved survives kill -9 and loss of power.
///
/// What is lost by design: the second payload that a queue gets within a millisecond; the oldest
/// payload of all when the folder holds 201 files; files that do not open, are empty, too large or
/// badly named, when they are processed. A file that the system cannot read now stays. A payload
/// that was handled may be offered once more after a loss of power. Names sort as text, so the
/// order is that of the clock.
///
/// The folder remembers the key: a hidden file, made by the first save, holds a check value. With
/// another key or vector nothing is saved or processed, and one ERROR line says so.
///
/// Several processes may share a folder. A save never replaces the payload of another one, and
/// while one runs the queue, or has done callbacks that were neither called nor dropped, the
/// others' runs offer nothing. The end of a process, however it comes, frees the folder.
///
/// Set folder, key and vector before the first save or run. All operations may be called from any
/// thread. Saving and processing hold the object's recursive lock throughout, processors
/// included; resetting and done callbacks take no such lock and may run meanwhile. Nothing is
/// returned: failures are logged.
class KELM_API KelmReliableQueue {
 public:
  KelmReliableQueue();
  ~KelmReliableQueue();
  KelmReliableQueue(const KelmReliableQueue&) = delete;
  KelmReliableQueue& operator=(const KelmReliableQueue&) = delete;

  /// `getInstance` The process-wide queue, made by the first call.
  static KelmReliableQueue& getInstance();

  /// `setProcessorHandler:withQueueID:` Registers the processor for an ID, in place of an earlier
  /// one; nothing is stored when either is absent. The ID "___" is stored, then raises the failure
  /// of `logEventAndExit:`. An ID that merely contains "___" is accepted, but its payloads are
  /// filed under what comes before that.
  void setProcessorHandler_withQueueID(ReliableQueueProcessor processor,
                                       std::optional<std::string_view> queueId);
  /// `savePayload:withQueueID:` The file is durable when this returns, unless a line was logged
  /// that says why not. Needs a processor for the ID. An ID that holds NUL, "/" or ".." is
  /// refused as a failed store, as is one that makes the name longer than the file system allows
  /// (235 bytes here).
  void savePayload_withQueueID(std::optional<DataView> payload,
                               std::optional<std::string_view> queueId);
  /// `processQueueWithID:` Offers the files whose path contains "___" and the ID, oldest first,
  /// each to the processor of the ID in its own name, without waiting for done callbacks. A file
  /// without a processor stays. When the key is missing every file is logged as broken and stays,
  /// but for one too large to hold a payload, which goes all the same.
  void processQueueWithID(std::optional<std::string_view> queueId);
  /// Gives the folder the key and vector of this queue, in place of those that it remembers. What
  /// was saved with the others does not open any more, and goes as such at the next run. False,
  /// nothing changed, without a key or when the folder cannot be written.
  bool adoptKey();
  /// A hidden folder (a name that starts with a dot) where files that do not open are kept in place
  /// of being deleted, at most 200 of them; absent, as at first: they are deleted.
  void setQuarantinePath(std::optional<std::string> path);
  /// `resetQueueWithID:` Removes the files of exactly this ID, and badly named ones.
  void resetQueueWithID(std::optional<std::string_view> queueId);

  /// `removeOldestPayloadIfLimitReached` Removes the first of 201 files or more.
  void removeOldestPayloadIfLimitReached();
  /// `removePayloadFile:` True when the file is gone.
  bool removePayloadFile(std::optional<std::string_view> fullPath);
  /// `getFileHandler` The handler of the payload files. The first call makes it with the key and
  /// vector of that moment; later changes of these have no effect on it.
  std::shared_ptr<VaspSecureFileHandler> getFileHandler();

  /// `filesystemKey`, `filesystemIV` Copies of the AES key and vector; overwritten when dropped.
  std::optional<Data> filesystemKey() const { return copyOf(filesystemKey_.get()); }
  std::optional<Data> filesystemIV() const { return copyOf(filesystemIV_.get()); }
  void setFilesystemKey(std::optional<DataView> key) { filesystemKey_.set(key); }
  void setFilesystemIV(std::optional<DataView> iv) { filesystemIV_.set(iv); }
  /// `queueFilePath` The full path of the queue's folder.
  std::optional<std::string> queueFilePath() const;
  void setQueueFilePath(std::optional<std::string> path);

 private:
  std::shared_ptr<const ReliableQueueProcessor> processorFor(std::string_view queueId) const;
  std::vector<std::string> listFiles();
  std::shared_ptr<const FolderKey> folderKey();
  bool mayUseFolder(bool isToSave, const char* from);
  void warnOfLoss(std::size_t payloadBytes, std::string_view queueId);
  void store(DataView payload, std::string_view queueId);
  std::shared_ptr<platform::FolderLock> lockFolder();
  void offer(const std::string& path, std::int64_t following,
             const std::shared_ptr<platform::FolderLock>& folder);
  void removeBroken(const std::string& path, bool isClosed);

  RecursiveMutex mutex_;      // held by saving and processing, also while they call out
  mutable Mutex stateMutex_;  // guards the fields below; never held while calling out
  std::unordered_map<std::string, std::shared_ptr<const ReliableQueueProcessor>> processorTable_
      KELM_GUARDED_BY(stateMutex_);
  std::shared_ptr<VaspSecureFileHandler> fileHandler_ KELM_GUARDED_BY(stateMutex_);
  std::shared_ptr<const FolderKey> folderKey_ KELM_GUARDED_BY(stateMutex_);
  std::optional<std::string> queueFilePath_ KELM_GUARDED_BY(stateMutex_);
  std::optional<std::string> quarantinePath_ KELM_GUARDED_BY(stateMutex_);
  std::set<std::pair<std::string, int>> warned_ KELM_GUARDED_BY(stateMutex_);  // ID and kind
  std::weak_ptr<platform::FolderLock> lock_ KELM_GUARDED_BY(stateMutex_);  // of a run not settled
  std::string lockedPath_ KELM_GUARDED_BY(stateMutex_);
  SecretCell filesystemKey_;
  SecretCell filesystemIV_;
};

}  // namespace kelm
