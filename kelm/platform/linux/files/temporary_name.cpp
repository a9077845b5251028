#include "kelm/platform/linux/files/temporary_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "kelm/platform/linux/files/file_tree.h"

namespace kelm::platform {

namespace {

constexpr std::string_view kPrefix = ".kelm-";
constexpr std::string_view kSuffix = ".tmp";
constexpr std::size_t kDigits = 16;

/// False when the item was taken for abandoned, and removed, before its lock was got.
bool lockBeforeOthers(int descriptor) {
  struct stat status;
  if (retried([&] { return ::flock(descriptor, LOCK_EX); }) != 0) return true;  // no locks here
  return ::fstat(descriptor, &status) != 0 || status.st_nlink > 0;
}

}  // namespace

std::string makeTemporaryName() {
  static std::atomic<std::uint64_t> counter{0};
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  // Equal only by accident, and then the name is refused and the next one tried.
  const std::uint64_t number = (static_cast<std::uint64_t>(::getpid()) << 40) ^
                               (static_cast<std::uint64_t>(time.tv_sec) << 30) ^
                               static_cast<std::uint64_t>(time.tv_nsec) ^ (++counter << 52);
  std::array<char, kDigits + 1> digits;
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return std::string(kPrefix).append(digits.data(), kDigits).append(kSuffix);
}

bool isTemporaryName(std::string_view name) {
  return name.size() == kPrefix.size() + kDigits + kSuffix.size() && name.starts_with(kPrefix) &&
         name.ends_with(kSuffix) &&
         name.find_first_not_of("0123456789abcdef", kPrefix.size()) == name.size() - kSuffix.size();
}

Descriptor makeTemporary(const FileCalls& calls, int folder, bool isFolder, std::string& name) {
  for (;;) {
    name = makeTemporaryName();
    if (isFolder && retried([&] { return calls.makeFolder(folder, name.c_str(), S_IRWXU); }) != 0) {
      if (errno == EEXIST) continue;
      return {};
    }
    const int flags = isFolder ? O_RDONLY | O_DIRECTORY : O_RDWR | O_CREAT | O_EXCL;
    Descriptor item(retried(
        [&] { return calls.open(folder, name.c_str(), flags | O_NOFOLLOW, S_IRUSR | S_IWUSR); }));
    if (item.isOpen() && lockBeforeOthers(item.number())) return item;
    const bool isTaken = item.isOpen() || (isFolder ? errno == ENOENT : errno == EEXIST);
    if (!isTaken) return {};
  }
}

void removeIfAbandoned(const FileCalls& calls, int folder, const char* name) {
  const Descriptor item(
      retried([&] { return calls.open(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0); }));
  if (!item.isOpen()) return;
  if (retried([&] { return ::flock(item.number(), LOCK_EX | LOCK_NB); }) == 0)
    removeTree(calls, folder, name);
}

}  // namespace kelm::platform
