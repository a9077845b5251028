#include "kelm/platform/linux/files/file_calls.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>

#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

int FileCalls::open(int folder, const char* path, int flags, mode_t mode) const {
  return ::openat(folder, path, flags | O_CLOEXEC, mode);
}

ssize_t FileCalls::write(int file, const std::uint8_t* bytes, std::size_t count) const {
  return ::write(file, bytes, count);
}

ssize_t FileCalls::writePieces(int file, const iovec* pieces, int count) const {
  return ::writev(file, pieces, count);
}

int FileCalls::sync(int descriptor) const { return ::fsync(descriptor); }

int FileCalls::setPermissions(int file, mode_t permissions) const {
  return ::fchmod(file, permissions);
}

int FileCalls::link(int file, int folder, const char* name) const {
  if (::linkat(file, "", folder, name, AT_EMPTY_PATH) == 0) return 0;
  if (errno != ENOENT) return -1;
  // An older kernel wants a capability for that, but not for the way through /proc.
  std::array<char, 32> path;
  std::snprintf(path.data(), path.size(), "/proc/self/fd/%d", file);
  return ::linkat(AT_FDCWD, path.data(), folder, name, AT_SYMLINK_FOLLOW);
}

int FileCalls::rename(int folder, const char* from, int toFolder, const char* to,
                      bool replaces) const {
  if (replaces) return ::renameat(folder, from, toFolder, to);
  if (::renameat2(folder, from, toFolder, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  // This file system cannot do both in one step (or the folder would go into itself: EINVAL again).
  struct stat status;
  if (::fstatat(toFolder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::renameat(folder, from, toFolder, to);
}

int FileCalls::makeFolder(int folder, const char* path, mode_t permissions) const {
  return ::mkdirat(folder, path, permissions);
}

int FileCalls::makeSymbolicLink(const char* target, int folder, const char* name) const {
  return ::symlinkat(target, folder, name);
}

int FileCalls::unlink(int folder, const char* path, int flags) const {
  return ::unlinkat(folder, path, flags);
}

int FileCalls::close(int descriptor) const { return ::close(descriptor); }

}  // namespace kelm::platform
