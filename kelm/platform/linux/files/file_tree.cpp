#include "kelm/platform/linux/files/file_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <vector>

#include "kelm/platform/linux/files/folder_cursor.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kBufferBytes = 65536;

FileKind kindOf(int folder, const dirent64& entry) {
  switch (entry.d_type) {
    case DT_REG:
      return FileKind::Regular;
    case DT_DIR:
      return FileKind::Directory;
    case DT_LNK:
      return FileKind::SymbolicLink;
    case DT_UNKNOWN:
      break;
    default:
      return FileKind::Other;
  }
  struct stat status;
  if (retried([&] { return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW); }) != 0)
    return FileKind::Unknown;
  return S_ISREG(status.st_mode)   ? FileKind::Regular
         : S_ISDIR(status.st_mode) ? FileKind::Directory
         : S_ISLNK(status.st_mode) ? FileKind::SymbolicLink
                                   : FileKind::Other;
}

struct Entry {
  std::string name;
  FileKind kind;
};

int listEntries(int folder, std::vector<Entry>& entries) {
  return forEachEntry(folder, [&](const char* name, FileKind kind) {
    entries.push_back({name, kind});
    return 0;
  });
}

/// Removes what is no folder from the cursor's folder; gives the names of the folders.
int removeFiles(const FileCalls& calls, int folder, std::vector<std::string>& folders) {
  std::vector<Entry> entries;
  if (const int error = listEntries(folder, entries)) return error;
  for (Entry& entry : entries) {
    if (entry.kind != FileKind::Directory) {
      if (retried([&] { return calls.unlink(folder, entry.name.c_str(), 0); }) == 0) continue;
      if (errno == ENOENT) continue;
      if (errno != EISDIR) return errno;
    }
    folders.push_back(std::move(entry.name));
  }
  return 0;
}

int removeFolder(const FileCalls& calls, int folder, const std::string& name) {
  return retried([&] { return calls.unlink(folder, name.c_str(), AT_REMOVEDIR); }) == 0 ? 0 : errno;
}

/// Extended attributes that a user sets; a file system without them, or without room, is no
/// failure.
void copyExtendedAttributes(int source, int target) {
  std::array<char, 4096> names;
  std::array<char, 4096> value;
  const ssize_t size = ::flistxattr(source, names.data(), names.size());
  for (ssize_t at = 0; at < size; at += static_cast<ssize_t>(std::strlen(&names[at])) + 1) {
    if (std::strncmp(&names[at], "user.", 5) != 0) continue;
    const ssize_t length = ::fgetxattr(source, &names[at], value.data(), value.size());
    if (length >= 0)
      ::fsetxattr(target, &names[at], value.data(), static_cast<std::size_t>(length), 0);
  }
}

int copyAttributes(const FileCalls& calls, int source, int target) {
  struct stat status;
  if (retried([&] { return ::fstat(source, &status); }) != 0) return errno;
  copyExtendedAttributes(source, target);
  const mode_t permissions = status.st_mode & 07777;
  if (retried([&] { return calls.setPermissions(target, permissions); }) != 0) return errno;
  const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
  return retried([&] { return ::futimens(target, times.data()); }) == 0 ? 0 : errno;
}

int finishCopy(const FileCalls& calls, int source, int target) {
  if (const int error = copyAttributes(calls, source, target)) return error;
  return retried([&] { return calls.sync(target); }) == 0 ? 0 : errno;
}

int copyNamedFile(const FileCalls& calls, int source, int target, const char* name) {
  const Descriptor from(
      retried([&] { return calls.open(source, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0); }));
  if (!from.isOpen()) return errno;
  Descriptor to(retried([&] {
    return calls.open(target, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  }));
  if (!to.isOpen()) return errno;
  if (const int error = copyFile(calls, from.number(), to.number())) return error;
  return calls.close(to.release()) == 0 || errno == EINTR ? 0 : errno;
}

/// Copies what is no folder; makes the folders, and gives their names.
int copyEntries(const FileCalls& calls, int source, int target, std::vector<std::string>& folders) {
  std::vector<Entry> entries;
  if (const int error = listEntries(source, entries)) return error;
  for (Entry& entry : entries) {
    const char* const name = entry.name.c_str();
    int error = EOPNOTSUPP;
    if (entry.kind == FileKind::Regular) {
      error = copyNamedFile(calls, source, target, name);
    } else if (entry.kind == FileKind::SymbolicLink) {
      error = copyLink(calls, source, name, target, name);
    } else if (entry.kind == FileKind::Directory) {
      error = retried([&] { return calls.makeFolder(target, name, S_IRWXU); }) == 0 ? 0 : errno;
      folders.push_back(std::move(entry.name));
    }
    if (error != 0) return error;
  }
  return 0;
}

}  // namespace

int forEachEntry(int folder, const std::function<int(const char*, FileKind)>& visit) {
  alignas(dirent64) std::array<char, kBufferBytes / 2> buffer;
  for (;;) {
    const ssize_t size =
        retried([&] { return ::getdents64(folder, buffer.data(), buffer.size()); });
    if (size <= 0) return size == 0 ? 0 : errno;
    for (ssize_t at = 0; at < size;) {
      const auto& entry = *reinterpret_cast<const dirent64*>(&buffer[static_cast<std::size_t>(at)]);
      at += entry.d_reclen;
      if (std::strcmp(entry.d_name, ".") == 0 || std::strcmp(entry.d_name, "..") == 0) continue;
      if (const int error = visit(entry.d_name, kindOf(folder, entry))) return error;
    }
  }
}

int removeTree(const FileCalls& calls, int folder, const std::string& name) {
  if (retried([&] { return calls.unlink(folder, name.c_str(), 0); }) == 0) return 0;
  if (errno != EISDIR) return errno;
  const int refusal = removeFolder(calls, folder, name);
  if (refusal != ENOTEMPTY && refusal != EEXIST) return refusal;

  FolderCursor cursor(folder);
  std::vector<std::vector<std::string>> toDo{{name}};
  while (!toDo.empty()) {
    if (toDo.back().empty()) {
      toDo.pop_back();
      if (toDo.empty()) return 0;
      const std::string emptied = cursor.name();
      if (const int error = cursor.leave()) return error;
      if (const int error = removeFolder(calls, cursor.descriptor(), emptied)) return error;
      continue;
    }
    const std::string next = std::move(toDo.back().back());
    toDo.back().pop_back();
    if (const int error = cursor.enter(next)) return error;
    toDo.emplace_back();
    if (const int error = removeFiles(calls, cursor.descriptor(), toDo.back())) return error;
  }
  return 0;
}

int copyFolder(const FileCalls& calls, int source, int target) {
  FolderCursor from(source);
  FolderCursor to(target);
  std::vector<std::vector<std::string>> toDo(1);
  if (const int error = copyEntries(calls, source, target, toDo.back())) return error;
  for (;;) {
    if (toDo.back().empty()) {
      if (const int error = finishCopy(calls, from.descriptor(), to.descriptor())) return error;
      toDo.pop_back();
      if (toDo.empty()) return 0;
      if (const int error = from.leave()) return error;
      if (const int error = to.leave()) return error;
      continue;
    }
    const std::string next = std::move(toDo.back().back());
    toDo.back().pop_back();
    if (const int error = from.enter(next)) return error;
    if (const int error = to.enter(next)) return error;
    toDo.emplace_back();
    if (const int error = copyEntries(calls, from.descriptor(), to.descriptor(), toDo.back()))
      return error;
  }
}

int copyFile(const FileCalls& calls, int source, int target) {
  std::array<std::uint8_t, kBufferBytes> buffer;
  for (;;) {
    const ssize_t size = retried([&] { return ::read(source, buffer.data(), buffer.size()); });
    if (size < 0) return errno;
    if (size == 0) return finishCopy(calls, source, target);
    const DataView part(buffer.data(), static_cast<std::size_t>(size));
    if (const int error = writeAll(calls, target, part)) return error;
  }
}

int copyLink(const FileCalls& calls, int source, const char* from, int target, const char* name) {
  std::array<char, PATH_MAX> link;
  const ssize_t size = ::readlinkat(source, from, link.data(), link.size() - 1);
  if (size < 0) return errno;
  link[static_cast<std::size_t>(size)] = '\0';
  return retried([&] { return calls.makeSymbolicLink(link.data(), target, name); }) == 0 ? 0
                                                                                         : errno;
}

bool holds(int outer, int inner) {
  struct stat searched;
  struct stat status;
  if (::fstat(outer, &searched) != 0) return true;
  Descriptor folder(
      retried([&] { return ::openat(inner, ".", O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  for (ino_t below = 0;;) {
    if (!folder.isOpen() || ::fstat(folder.number(), &status) != 0) return true;
    if (status.st_dev == searched.st_dev && status.st_ino == searched.st_ino) return true;
    if (status.st_ino == below) return false;  // the root is its own parent
    below = status.st_ino;
    folder = Descriptor(
        retried([&] { return ::openat(folder.number(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  }
}

int writeAll(const FileCalls& calls, int file, DataView content) {
  while (!content.empty()) {
    const ssize_t count =
        retried([&] { return calls.write(file, content.data(), content.size()); });
    if (count < 0) return errno;
    if (count == 0) return EIO;
    content = content.subspan(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace kelm::platform
