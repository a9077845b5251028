#include "kelm/platform/linux/files/unsynced_folders.h"

#include <fcntl.h>

#include "kelm/platform/linux/files/file_path.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kMostRemembered = 256;

/// One spelling for a path: no slash at the end, none doubled.
std::string normalized(const std::string& path) {
  std::string result;
  result.reserve(path.size());
  for (const char c : path)
    if (c != '/' || result.empty() || result.back() != '/') result.push_back(c);
  return withoutTrailingSlashes(result);
}

}  // namespace

int UnsyncedFolders::add(const std::string& path) {
  bool isFull = false;
  {
    const Lock lock(mutex_);
    paths_.insert(normalized(path));
    isFull = paths_.size() > kMostRemembered;
  }
  return isFull ? syncAll() : 0;
}

void UnsyncedFolders::forget(const std::string& path) {
  const Lock lock(mutex_);
  if (paths_.empty()) return;
  const std::string gone = normalized(path);
  paths_.erase(gone);
  const std::string inside = gone + '/';
  auto at = paths_.lower_bound(inside);
  while (at != paths_.end() && at->starts_with(inside))
    at = paths_.erase(at);
}

int UnsyncedFolders::syncWayTo(const std::string& folder) {
  const Lock lock(mutex_);
  if (paths_.empty()) return 0;
  for (std::string path = normalized(folder);;) {
    const std::string above = SplitPath(path).folder;
    if (const auto found = paths_.find(path); found != paths_.end()) {
      if (const int error = syncFolder(above)) return error;
      paths_.erase(found);
    }
    if (above == path || above == ".") return 0;
    path = above;
  }
}

int UnsyncedFolders::syncAll() {
  const Lock lock(mutex_);
  std::set<std::string> holders;
  for (const std::string& path : paths_)
    holders.insert(SplitPath(path).folder);
  for (const std::string& holder : holders)
    if (const int error = syncFolder(holder)) return error;
  paths_.clear();
  return 0;
}

int UnsyncedFolders::syncFolder(const std::string& path) const {
  const Descriptor folder(
      retried([&] { return calls_.open(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY, 0); }));
  if (!folder.isOpen()) return errno == ENOENT ? 0 : errno;
  return retried([&] { return calls_.sync(folder.number()); }) == 0 ? 0 : errno;
}

}  // namespace kelm::platform
