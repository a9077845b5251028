#include "kelm/platform/file_system.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include <array>
#include <new>
#include <utility>

#include "kelm/platform/linux/files/file_calls.h"
#include "kelm/platform/linux/files/file_path.h"
#include "kelm/platform/linux/files/file_replacement.h"
#include "kelm/platform/linux/files/file_tree.h"
#include "kelm/platform/linux/files/services.h"
#include "kelm/platform/linux/files/system_call.h"
#include "kelm/platform/linux/files/temporary_name.h"
#include "kelm/platform/linux/files/unsynced_folders.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kReadBytes = 65536;
constexpr std::size_t kMostPieces = 512;
constexpr int kFolder = O_RDONLY | O_DIRECTORY;

Date dateOf(const statx_timestamp& time) {
  return {static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9};
}

FileKind kindOf(mode_t mode) {
  return S_ISREG(mode)   ? FileKind::Regular
         : S_ISDIR(mode) ? FileKind::Directory
         : S_ISLNK(mode) ? FileKind::SymbolicLink
                         : FileKind::Other;
}

Failure failure(int error, const std::string& path) {
  return error == 0 ? Failure() : fileError(error, path);
}

/// Reads to the end, or to the `size` that the file had when it was opened.
int readAll(int file, std::size_t size, Data& content) {
  std::array<std::uint8_t, kReadBytes> buffer;
  content.reserve(size);
  for (;;) {
    const ssize_t count = retried([&] { return ::read(file, buffer.data(), buffer.size()); });
    if (count < 0) return errno;
    append(content, DataView(buffer.data(), static_cast<std::size_t>(count)));
    if (count == 0 || (size > 0 && content.size() >= size)) return 0;
  }
}

/// A lock (flock) on a folder. A process that was forked off shares it: freed here, it is free.
class HeldFolder : public FolderLock {
 public:
  explicit HeldFolder(Descriptor folder) : folder_(std::move(folder)) {}
  ~HeldFolder() override {
    if (::getpid() == holder_) ::flock(folder_.number(), LOCK_UN);
  }
  HeldFolder(const HeldFolder&) = delete;
  HeldFolder& operator=(const HeldFolder&) = delete;

 private:
  const Descriptor folder_;
  const pid_t holder_ = ::getpid();
};

/// Writes every piece, many with one call; 0 or an errno.
int writeAll(const FileCalls& calls, int file, std::span<const DataView> pieces) {
  std::array<iovec, kMostPieces> parts;
  std::size_t written = 0;  // of the first piece
  while (!pieces.empty()) {
    const std::size_t count = std::min(pieces.size(), parts.size());
    for (std::size_t i = 0; i < count; ++i)
      parts[i] = {const_cast<std::uint8_t*>(pieces[i].data()), pieces[i].size()};
    parts[0].iov_base = const_cast<std::uint8_t*>(pieces[0].data() + written);
    parts[0].iov_len -= written;
    const ssize_t result =
        retried([&] { return calls.writePieces(file, parts.data(), static_cast<int>(count)); });
    if (result < 0) return errno;
    written += static_cast<std::size_t>(result);
    while (!pieces.empty() && written >= pieces[0].size()) {
      written -= pieces[0].size();
      pieces = pieces.subspan(1);
    }
    if (result == 0 && !pieces.empty()) return EIO;
  }
  return 0;
}

class LinuxFileSystem : public FileSystem {
 public:
  explicit LinuxFileSystem(std::shared_ptr<const FileCalls> calls)
      : calls_(std::move(calls)), unsynced_(*calls_) {}

  bool exists(const std::string& path) const override {
    struct stat status;
    return pathProblem(path) == 0 && follow(path, status);
  }

  bool isDirectory(const std::string& path) const override {
    struct stat status;
    return pathProblem(path) == 0 && follow(path, status) && S_ISDIR(status.st_mode);
  }

  Result<FileStatus> status(const std::string& path) const override;
  Result<Data> readFile(const std::string& path, std::uint64_t mostBytes) const override;
  Result<std::vector<DirectoryEntry>> list(const std::string& path) const override;
  Failure replaceFile(const std::string& path, DataView content) override {
    return writeFile(path, content, true);
  }
  Failure createFile(const std::string& path, DataView content) override {
    return writeFile(path, content, false);
  }
  Failure appendToFile(const std::string& path, std::span<const DataView> pieces) override;
  Failure createDirectories(const std::string& path) override;
  Failure remove(const std::string& path) override;
  Failure move(const std::string& from, const std::string& to) override;
  Failure copy(const std::string& from, const std::string& to) override;
  bool removalTouches(const std::string& path, const std::string& other) const override;
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& path) override;

 private:
  static bool follow(const std::string& path, struct stat& status) {
    return retried([&] { return ::stat(path.c_str(), &status); }) == 0;
  }
  Descriptor open(const std::string& path, int flags, int folder = AT_FDCWD) const {
    return Descriptor(retried([&] { return calls_->open(folder, path.c_str(), flags, 0); }));
  }
  Failure writeFile(const std::string& path, DataView content, bool mayReplace);
  int makeFolder(const std::string& path);
  bool liesIn(const std::string& item, const std::string& outer) const;
  int copyItem(const std::string& from, const std::string& to);
  int copyInto(const std::string& from, mode_t mode, int folder, const std::string& name);
  int publish(int folder, const std::string& temporaryName, const std::string& name);
  int removeCopied(const std::string& from);

  const std::shared_ptr<const FileCalls> calls_;
  UnsyncedFolders unsynced_;
};

Result<FileStatus> LinuxFileSystem::status(const std::string& path) const {
  if (const int error = pathProblem(path)) return fileError(error, path);
  struct statx raw;
  constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
  if (retried(
          [&] { return ::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, kWanted, &raw); }) != 0)
    return fileError(errno, path);
  FileStatus status;
  status.kind = kindOf(raw.stx_mode);
  status.size = raw.stx_size;
  status.permissions = raw.stx_mode & 07777U;
  status.modified = dateOf(raw.stx_mtime);
  status.created = (raw.stx_mask & STATX_BTIME) != 0 ? dateOf(raw.stx_btime) : status.modified;
  status.owner = raw.stx_uid;
  status.group = raw.stx_gid;
  return status;
}

Result<Data> LinuxFileSystem::readFile(const std::string& path, std::uint64_t mostBytes) const {
  if (const int error = pathProblem(path)) return fileError(error, path);
  const Descriptor file = open(path, O_RDONLY | O_NONBLOCK);
  struct stat status;
  if (!file.isOpen() || retried([&] { return ::fstat(file.number(), &status); }) != 0)
    return fileError(errno, path);
  // A pipe or a device may never end.
  if (!S_ISREG(status.st_mode)) return fileError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
  if (static_cast<std::uint64_t>(status.st_size) > mostBytes) return fileError(EFBIG, path);
  try {
    Data content;
    if (const int error = readAll(file.number(), static_cast<std::size_t>(status.st_size), content))
      return fileError(error, path);
    return content;
  } catch (const std::bad_alloc&) {
    return fileError(ENOMEM, path);  // a file of holes may claim any size
  }
}

Result<std::vector<DirectoryEntry>> LinuxFileSystem::list(const std::string& path) const {
  if (const int error = pathProblem(path)) return fileError(error, path);
  const Descriptor folder = open(path, kFolder);
  if (!folder.isOpen()) return fileError(errno, path);
  std::vector<DirectoryEntry> entries;
  const int error = forEachEntry(folder.number(), [&](const char* name, FileKind kind) {
    if (isTemporaryName(name))
      removeIfAbandoned(*calls_, folder.number(), name);
    else
      entries.push_back({name, kind});
    return 0;
  });
  if (error != 0) return fileError(error, path);
  return entries;
}

Failure LinuxFileSystem::writeFile(const std::string& path, DataView content, bool mayReplace) {
  if (const int error = pathProblem(path)) return fileError(error, path);
  const SplitPath split(path);
  if (!split.namesAnItem()) return fileError(EISDIR, path);
  const Descriptor folder = open(split.folder, kFolder);
  if (!folder.isOpen()) return fileError(errno, path);
  if (const int error =
          FileReplacement(*calls_, folder.number(), split.name).run(content, mayReplace))
    return fileError(error, path);
  return failure(unsynced_.syncWayTo(split.folder), path);
}

Failure LinuxFileSystem::appendToFile(const std::string& path, std::span<const DataView> pieces) {
  if (const int error = pathProblem(path)) return fileError(error, path);
  const Descriptor file = open(path, O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status;
  if (!file.isOpen() || retried([&] { return ::fstat(file.number(), &status); }) != 0)
    return fileError(errno, path);
  if (!S_ISREG(status.st_mode)) return fileError(EINVAL, path);
  return failure(writeAll(*calls_, file.number(), pieces), path);
}

int LinuxFileSystem::makeFolder(const std::string& path) {
  if (retried([&] { return calls_->makeFolder(AT_FDCWD, path.c_str(), S_IRWXU); }) != 0)
    return errno;
  return unsynced_.add(path);
}

Failure LinuxFileSystem::createDirectories(const std::string& path) {
  if (const int error = pathProblem(path)) return fileError(error, path);
  const std::string whole = withoutTrailingSlashes(path);
  // Up to the first folder that can be made, or is there, then down again.
  std::vector<std::string> missing;
  std::string next = whole;
  int error = makeFolder(next);
  while (error == ENOENT) {
    missing.push_back(next);
    next = SplitPath(next).folder;
    if (next == missing.back() || next == ".") break;
    error = makeFolder(next);
  }
  while ((error == 0 || error == EEXIST) && !missing.empty()) {
    error = makeFolder(missing.back());
    missing.pop_back();
  }
  if (error == EEXIST && isDirectory(whole)) error = 0;
  return failure(error, path);
}

Failure LinuxFileSystem::remove(const std::string& path) {
  if (const int error = pathProblem(path)) return fileError(error, path);
  const std::string last = SplitPath(withoutTrailingSlashes(path)).name;
  if (last == "." || last == "..") return fileError(EINVAL, path);
  if (const int error = removeTree(*calls_, AT_FDCWD, path)) return fileError(error, path);
  unsynced_.forget(path);
  return {};
}

Failure LinuxFileSystem::move(const std::string& from, const std::string& to) {
  if (const int error = pathProblem(from)) return fileError(error, from);
  if (const int error = pathProblem(to)) return fileError(error, to);
  if (const int error = unsynced_.syncAll()) return fileError(error, from);
  if (retried(
          [&] { return calls_->rename(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), false); }) == 0)
    return failure(unsynced_.add(to), to);
  if (errno != EXDEV) return fileError(errno, from);
  if (const int error = copyItem(from, to)) return fileError(error, from);
  const int error = removeCopied(from);
  if (error != 0) removeTree(*calls_, AT_FDCWD, withoutTrailingSlashes(to));
  return failure(error, from);
}

Failure LinuxFileSystem::copy(const std::string& from, const std::string& to) {
  if (const int error = pathProblem(from)) return fileError(error, from);
  if (const int error = pathProblem(to)) return fileError(error, to);
  return failure(copyItem(from, to), from);
}

int LinuxFileSystem::copyItem(const std::string& from, const std::string& to) {
  struct stat status;
  if (retried([&] { return ::lstat(from.c_str(), &status); }) != 0) return errno;
  const SplitPath target(S_ISDIR(status.st_mode) ? withoutTrailingSlashes(to) : to);
  if (target.name.empty()) return target.folder == "/" ? EEXIST : ENOTDIR;
  const Descriptor folder = open(target.folder, kFolder);
  if (!folder.isOpen()) return errno;
  struct stat existing;
  if (::fstatat(folder.number(), target.name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0)
    return EEXIST;
  if (const int error = copyInto(from, status.st_mode, folder.number(), target.name)) return error;
  int error = retried([&] { return calls_->sync(folder.number()); }) == 0 ? 0 : errno;
  if (error == 0) error = unsynced_.syncWayTo(target.folder);
  if (error != 0) removeTree(*calls_, folder.number(), target.name);
  return error;
}

int LinuxFileSystem::copyInto(const std::string& from, mode_t mode, int folder,
                              const std::string& name) {
  if (S_ISLNK(mode)) return copyLink(*calls_, AT_FDCWD, from.c_str(), folder, name.c_str());
  if (!S_ISREG(mode) && !S_ISDIR(mode)) return EOPNOTSUPP;
  const bool isFolder = S_ISDIR(mode);
  const Descriptor source = open(from, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!source.isOpen()) return errno;
  if (isFolder && holds(source.number(), folder)) return EINVAL;
  std::string temporaryName;
  Descriptor target = makeTemporary(*calls_, folder, isFolder, temporaryName);
  if (!target.isOpen()) return errno;
  int error = isFolder ? copyFolder(*calls_, source.number(), target.number())
                       : copyFile(*calls_, source.number(), target.number());
  if (error == 0) error = publish(folder, temporaryName, name);
  if (error != 0) removeTree(*calls_, folder, temporaryName);
  return error;
}

int LinuxFileSystem::publish(int folder, const std::string& temporaryName,
                             const std::string& name) {
  const int renamed = retried(
      [&] { return calls_->rename(folder, temporaryName.c_str(), folder, name.c_str(), false); });
  return renamed == 0 ? 0 : errno;
}

bool LinuxFileSystem::removalTouches(const std::string& path, const std::string& other) const {
  struct stat removed;
  if (pathProblem(path) != 0 || pathProblem(other) != 0) return false;  // no call sees such a path
  if (retried([&] { return ::lstat(path.c_str(), &removed); }) != 0)
    return errno != ENOENT && errno != ENOTDIR;
  struct stat item;
  for (const int flags : {AT_SYMLINK_NOFOLLOW, 0}) {
    if (retried([&] { return ::fstatat(AT_FDCWD, other.c_str(), &item, flags); }) != 0) {
      if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) return true;
    } else if (item.st_dev == removed.st_dev && item.st_ino == removed.st_ino) {
      return true;
    }
  }
  return liesIn(other, path) || liesIn(path, other);
}

/// True when the folder `outer` holds the item; also when that cannot be told.
bool LinuxFileSystem::liesIn(const std::string& item, const std::string& outer) const {
  constexpr int kPlace = O_PATH | O_DIRECTORY | O_CLOEXEC;
  const std::string above = SplitPath(withoutTrailingSlashes(item)).folder;
  const Descriptor folder(retried([&] { return ::open(outer.c_str(), kPlace | O_NOFOLLOW); }));
  if (!folder.isOpen()) return errno != ENOTDIR && errno != ENOENT && errno != ELOOP;
  const Descriptor place(retried([&] { return ::open(above.c_str(), kPlace); }));
  if (!place.isOpen()) return errno != ENOTDIR && errno != ENOENT;
  return holds(folder.number(), place.number());
}

Result<std::unique_ptr<FolderLock>> LinuxFileSystem::lockFolder(const std::string& path) {
  if (const int error = pathProblem(path)) return fileError(error, path);
  Descriptor folder = open(path, kFolder);
  if (!folder.isOpen()) return fileError(errno, path);
  const int locked = retried([&] { return ::flock(folder.number(), LOCK_EX | LOCK_NB); });
  if (locked != 0 && errno == EWOULDBLOCK) return fileError(errno, path);
  return std::unique_ptr<FolderLock>(std::make_unique<HeldFolder>(std::move(folder)));
}

/// Removes an item whose copy is complete; when that fails nothing of it has been removed.
int LinuxFileSystem::removeCopied(const std::string& from) {
  if (retried([&] { return calls_->unlink(AT_FDCWD, from.c_str(), 0); }) == 0) return 0;
  if (errno != EISDIR) return errno;
  // Out of the way in one step; what cannot be removed then is removed when it is listed.
  const SplitPath source(withoutTrailingSlashes(from));
  const Descriptor folder = open(source.folder, kFolder);
  if (!folder.isOpen()) return errno;
  const std::string aside = makeTemporaryName();
  if (retried([&] {
        return calls_->rename(folder.number(), source.name.c_str(), folder.number(), aside.c_str(),
                              false);
      }) != 0)
    return errno;
  removeTree(*calls_, folder.number(), aside);
  return 0;
}

/// Changes files for a benchmark: what is written is not synced.
class UnsyncedCalls : public FileCalls {
 public:
  int sync(int) const override { return 0; }
};

}  // namespace

std::shared_ptr<FileSystem> FileSystem::makeSystem() {
  return makeFileSystem(std::make_shared<FileCalls>());
}

std::shared_ptr<FileSystem> makeFileSystem(std::shared_ptr<const FileCalls> calls) {
  return std::make_shared<LinuxFileSystem>(std::move(calls));
}

std::shared_ptr<FileSystem> makeUnsyncedFileSystem() {
  return makeFileSystem(std::make_shared<UnsyncedCalls>());
}

}  // namespace kelm::platform
