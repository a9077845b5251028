#include "kelm/platform/file_attributes.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>

#include "kelm/platform/linux/files/file_path.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace {

constexpr const char* kProtection = "user.kelm.protection";
constexpr const char* kNoBackup = "user.kelm.nobackup";

/// The usual classes are kept under short words: with both attributes inside the inode, which a
/// common file system has some ninety bytes for, a file costs no further block.
struct Abbreviation {
  std::string_view protectionClass;
  std::string_view word;
};
constexpr Abbreviation kAbbreviations[] = {
    {"NSFileProtectionNone", "~none"},
    {"NSFileProtectionComplete", "~complete"},
    {"NSFileProtectionCompleteUnlessOpen", "~unlessopen"},
    {"NSFileProtectionCompleteUntilFirstUserAuthentication", "~firstunlock"},
};

std::string_view abbreviated(std::string_view protectionClass) {
  for (const auto& [known, word] : kAbbreviations)
    if (known == protectionClass) return word;
  return protectionClass;
}

std::string_view whole(std::string_view stored) {
  for (const auto& [protectionClass, word] : kAbbreviations)
    if (word == stored) return protectionClass;
  return stored;
}

/// What a file system says that does not hold such attributes, or not of this file.
bool isRefusal(int error) {
  return error == EOPNOTSUPP || error == EACCES || error == EPERM || error == ENOSPC ||
         error == EDQUOT || error == E2BIG || error == ERANGE || error == EROFS ||
         error == ENOTTY || error == ENOSYS;
}

Failure unlessRefused(int result, const std::string& path) {
  if (result == 0 || isRefusal(errno)) return {};
  return fileError(errno, path);
}

/// Sets or clears the flag by which backup programs leave a file out. Best effort: the extended
/// attribute is what tells.
void setNoDump(const std::string& path, bool excluded) {
  struct statx status;
  if (::statx(AT_FDCWD, path.c_str(), 0, 0, &status) == 0 &&
      (status.stx_attributes_mask & STATX_ATTR_NODUMP) != 0 &&
      ((status.stx_attributes & STATX_ATTR_NODUMP) != 0) == excluded)
    return;  // most often: a new file has it from its folder
  const Descriptor file(
      retried([&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }));
  int flags = 0;
  if (!file.isOpen() || ::ioctl(file.number(), FS_IOC_GETFLAGS, &flags) != 0) return;
  flags = excluded ? flags | FS_NODUMP_FL : flags & ~FS_NODUMP_FL;
  ::ioctl(file.number(), FS_IOC_SETFLAGS, &flags);
}

class LinuxFileAttributes : public FileAttributes {
 public:
  Failure setProtection(const std::string& path, std::string_view protectionClass) override {
    if (const int error = pathProblem(path)) return fileError(error, path);
    const std::string_view stored = abbreviated(protectionClass);
    const int result = retried(
        [&] { return ::setxattr(path.c_str(), kProtection, stored.data(), stored.size(), 0); });
    return unlessRefused(result, path);
  }

  std::optional<std::string> protection(const std::string& path) const override {
    if (pathProblem(path) != 0) return std::nullopt;
    std::array<char, 256> value;
    const ssize_t size =
        retried([&] { return ::getxattr(path.c_str(), kProtection, value.data(), value.size()); });
    if (size < 0) return std::nullopt;
    return std::string(whole({value.data(), static_cast<std::size_t>(size)}));
  }

  Failure setExcludedFromBackup(const std::string& path, bool excluded) override {
    if (const int error = pathProblem(path)) return fileError(error, path);
    setNoDump(path, excluded);
    const int result = retried([&] {
      return excluded ? ::setxattr(path.c_str(), kNoBackup, "", 0, 0)
                      : ::removexattr(path.c_str(), kNoBackup);
    });
    if (!excluded && result != 0 && errno == ENODATA) return {};
    return unlessRefused(result, path);
  }

  bool isExcludedFromBackup(const std::string& path) const override {
    if (pathProblem(path) != 0) return false;
    return retried([&] { return ::getxattr(path.c_str(), kNoBackup, nullptr, 0); }) >= 0;
  }
};

}  // namespace

std::shared_ptr<FileAttributes> FileAttributes::makeSystem() {
  return std::make_shared<LinuxFileAttributes>();
}

}  // namespace kelm::platform
