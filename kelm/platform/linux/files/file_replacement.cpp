#include "kelm/platform/linux/files/file_replacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "kelm/platform/linux/files/file_tree.h"
#include "kelm/platform/linux/files/temporary_name.h"

namespace kelm::platform {

namespace {

constexpr mode_t kNewPermissions = S_IRUSR | S_IWUSR;

/// True for what a file system without nameless files, or a sandbox that forbids naming them, says.
bool refusesNamelessFiles(int error) {
  return error == EOPNOTSUPP || error == EISDIR || error == EINVAL || error == ENOENT ||
         error == EPERM || error == ENOSYS;
}

}  // namespace

FileReplacement::FileReplacement(const FileCalls& calls, int folder, const std::string& name)
    : calls_(calls), folder_(folder), name_(name), permissions_(kNewPermissions) {}

int FileReplacement::run(DataView content, bool mayReplace) {
  mayReplace_ = mayReplace;
  if (const int error = readOld()) return error;
  int error = write(content, true);
  if (error == 0) error = publishNameless();
  if (refusesNamelessFiles(error)) {
    error = write(content, false);
    if (error == 0) error = publishNamed();
  }
  if (error != 0 && !temporaryName_.empty())
    retried([&] { return calls_.unlink(folder_, temporaryName_.c_str(), 0); });
  if (error != 0) return error;
  if (retried([&] { return calls_.sync(folder_); }) != 0) return errno;
  return calls_.close(file_.release()) == 0 || errno == EINTR ? 0 : errno;
}

int FileReplacement::readOld() {
  struct stat old;
  if (retried([&] { return ::fstatat(folder_, name_.c_str(), &old, AT_SYMLINK_NOFOLLOW); }) != 0)
    return errno == ENOENT ? 0 : errno;
  if (!mayReplace_) return EEXIST;
  replaces_ = true;
  if (S_ISLNK(old.st_mode)) return 0;
  if (!S_ISREG(old.st_mode)) return S_ISDIR(old.st_mode) ? EISDIR : EEXIST;
  permissions_ = old.st_mode & 07777;
  return 0;
}

int FileReplacement::write(DataView content, bool isNameless) {
  if (isNameless)
    file_ = Descriptor(
        retried([&] { return calls_.open(folder_, ".", O_TMPFILE | O_WRONLY, kNewPermissions); }));
  else
    file_ = makeTemporary(calls_, folder_, false, temporaryName_);
  if (!file_.isOpen()) return errno;
  const int file = file_.number();
  if (permissions_ != kNewPermissions &&
      retried([&] { return calls_.setPermissions(file, permissions_); }) != 0)
    return errno;
  if (const int error = writeAll(calls_, file, content)) return error;
  return retried([&] { return calls_.sync(file); }) == 0 ? 0 : errno;
}

int FileReplacement::publishNameless() {
  const int file = file_.number();
  if (!replaces_) {
    if (retried([&] { return calls_.link(file, folder_, name_.c_str()); }) == 0) return 0;
    if (errno != EEXIST || !mayReplace_) return errno;
  }
  // A name can be given only where none is: take a temporary one, then rename.
  retried([&] { return ::flock(file, LOCK_EX); });
  do {
    temporaryName_ = makeTemporaryName();
    if (retried([&] { return calls_.link(file, folder_, temporaryName_.c_str()); }) == 0)
      return publishNamed();
  } while (errno == EEXIST);
  temporaryName_.clear();
  return errno;
}

int FileReplacement::publishNamed() {
  const int renamed = retried([&] {
    return calls_.rename(folder_, temporaryName_.c_str(), folder_, name_.c_str(), mayReplace_);
  });
  return renamed == 0 ? 0 : errno;
}

}  // namespace kelm::platform
