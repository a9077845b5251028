#include "kelm/platform/linux/files/folder_cursor.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace kelm::platform {

namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

}  // namespace

int FolderCursor::enter(const std::string& name) {
  struct stat parent {};
  if (!levels_.empty() && retried([&] { return ::fstat(descriptor(), &parent); }) != 0)
    return errno;
  Descriptor child(
      retried([&] { return ::openat(descriptor(), name.c_str(), kFolder | O_NOFOLLOW); }));
  if (!child.isOpen()) return errno;
  levels_.push_back({name, parent.st_dev, parent.st_ino});
  current_ = std::move(child);
  return 0;
}

int FolderCursor::leave() {
  const Level& level = levels_.back();
  if (levels_.size() > 1) {
    Descriptor parent(retried([&] { return ::openat(current_.number(), "..", kFolder); }));
    if (!parent.isOpen()) return errno;
    struct stat status;
    if (retried([&] { return ::fstat(parent.number(), &status); }) != 0) return errno;
    if (status.st_dev != level.parentDevice || status.st_ino != level.parentNumber) return EBUSY;
    current_ = std::move(parent);
  } else {
    current_ = Descriptor();
  }
  levels_.pop_back();
  return 0;
}

}  // namespace kelm::platform
