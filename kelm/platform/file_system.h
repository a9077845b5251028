#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/date.h"
#include "kelm/base/result.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// What a path leads to. `Unknown`: something is there whose kind could not be read.
enum class FileKind { Regular, Directory, SymbolicLink, Other, Unknown };

struct FileStatus {
  FileKind kind = FileKind::Unknown;  ///< of the item itself, links are not followed
  std::uint64_t size = 0;
  std::uint32_t permissions = 0;  ///< the lower twelve bits of the mode
  Date modified;
  Date created;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
};

struct DirectoryEntry {
  std::string name;  ///< bytes as the file system holds them
  FileKind kind = FileKind::Unknown;
};

/// A folder taken for one holder until this is destroyed or the process ends, however it ends.
class KELM_API FolderLock {
 public:
  virtual ~FolderLock() = default;
};

/// Files by path. Paths are bytes; one that is empty, holds NUL or is longer than the system
/// allows is an error (never cut). An Error has the domain "posix" and the path under "NSFilePath".
/// Thread-safe: calls on different paths do not disturb each other.
class KELM_API FileSystem {
 public:
  virtual ~FileSystem() = default;
  /// Holds the one in use; `current<FileSystem>()` returns it.
  static Slot<FileSystem>& slot();
  /// Makes the system's own.
  static std::shared_ptr<FileSystem> makeSystem();

  /// Links are followed: a link to nothing does not exist.
  virtual bool exists(const std::string& path) const = 0;
  /// True for a directory and for a link to one.
  virtual bool isDirectory(const std::string& path) const = 0;
  virtual Result<FileStatus> status(const std::string& path) const = 0;

  /// A regular file, links followed; anything else, and a file larger than memory, is an error. One
  /// of more than `mostBytes` is EFBIG, and not read.
  virtual Result<Data> readFile(
      const std::string& path,
      std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max()) const = 0;
  /// Replaces or creates a regular file so that at every moment, also after a crash or loss of
  /// power, the path leads to the old or to the new content, whole; once it returns no error the
  /// new one is durable. The temporary is never visible to list(). Permissions of a new file are
  /// 0600; those of a replaced one are kept, its other attributes and its owner are not. A link is
  /// replaced itself; a directory, pipe or device is an error. Its parent must exist.
  virtual Failure replaceFile(const std::string& path, DataView content) = 0;
  /// The same where nothing is: EEXIST, and nothing changed, when something has the name, a link to
  /// nothing too. Of several that create one path at once, in any process, one succeeds.
  virtual Failure createFile(const std::string& path, DataView content) = 0;
  /// Appends the pieces to a regular file that exists, links followed. Not durable; a failure may
  /// leave some of the bytes appended. A missing file, a directory, pipe or device is an error.
  virtual Failure appendToFile(const std::string& path, std::span<const DataView> pieces) = 0;
  /// Makes the directory and every missing parent (0700). Success when it is there already.
  virtual Failure createDirectories(const std::string& path) = 0;
  /// Removes a file, a link (not its target) or a directory with all that it holds; never what a
  /// link inside leads to. Not durable until a file of the same directory is next replaced.
  virtual Failure remove(const std::string& path) = 0;
  /// Moves an item to a path where nothing exists, across file systems too; the source survives
  /// every failure.
  virtual Failure move(const std::string& from, const std::string& to) = 0;
  /// Copies an item, directories with all that they hold, links as links, to a path where nothing
  /// exists, with permissions, dates and attributes. The copy is durable; a failed one leaves
  /// nothing visible. A pipe or device inside is an error.
  virtual Failure copy(const std::string& from, const std::string& to) = 0;

  /// True when removing `path` would take `other` away, or a part of it: both lead to one item,
  /// whatever their spelling, or one lies in the other. Also when that cannot be told.
  virtual bool removalTouches(const std::string& path, const std::string& other) const = 0;
  /// Takes a folder for the caller alone, without waiting: EWOULDBLOCK while another holder, in
  /// this process or in another, has it. Hinders nothing but this call. Where the file system has
  /// no locks everybody gets one.
  virtual Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& path) = 0;

  /// The direct children, hidden ones too, without "." and "..", in the file system's order.
  /// Temporaries of this service (".kelm-", 16 hexadecimal digits, ".tmp") are left out, and
  /// removed when the process that made them is gone.
  virtual Result<std::vector<DirectoryEntry>> list(const std::string& path) const = 0;
};

}  // namespace kelm::platform
