#pragma once

#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

namespace kelm::platform {

/// The system calls that change files. A test records them or makes them fail; a benchmark leaves
/// the syncing out. Each behaves like its namesake: -1 and errno for a failure. Thread-safe.
class FileCalls {
 public:
  virtual ~FileCalls() = default;

  virtual int open(int folder, const char* path, int flags, mode_t mode) const;
  virtual ssize_t write(int file, const std::uint8_t* bytes, std::size_t count) const;
  virtual ssize_t writePieces(int file, const iovec* pieces, int count) const;
  /// Writes content and metadata of a file, or the names in a folder, to the device.
  virtual int sync(int descriptor) const;
  virtual int setPermissions(int file, mode_t permissions) const;
  /// Names a file that was opened without a name.
  virtual int link(int file, int folder, const char* name) const;
  /// Fails when something has the new name, unless it is to be replaced.
  virtual int rename(int folder, const char* from, int toFolder, const char* to,
                     bool replaces) const;
  virtual int makeFolder(int folder, const char* path, mode_t permissions) const;
  virtual int makeSymbolicLink(const char* target, int folder, const char* name) const;
  /// `flags`: AT_REMOVEDIR for a folder, which must be empty.
  virtual int unlink(int folder, const char* path, int flags) const;
  /// The descriptor is gone in any case.
  virtual int close(int descriptor) const;
};

}  // namespace kelm::platform
