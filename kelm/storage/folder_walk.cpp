#include "kelm/storage/folder_walk.h"

#include <utility>
#include <vector>

#include "kelm/storage/paths.h"

namespace kelm {

namespace {

struct Level {
  std::string folder;
  std::vector<platform::DirectoryEntry> entries;
  std::size_t next = 0;
};

}  // namespace

void FolderWalk::run(const std::string& root, const Visit& visit,
                     const Unreadable& unreadable) const {
  std::vector<Level> levels;
  const auto enter = [&](const std::string& folder) {
    auto entries = files_.list(folder);
    if (entries)
      levels.push_back({folder, std::move(*entries)});
    else
      unreadable(folder, entries.error());
  };
  enter(root);
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.entries.size()) {
      levels.pop_back();
      continue;
    }
    const platform::DirectoryEntry& entry = level.entries[level.next++];
    if (entry.name.starts_with('.')) continue;
    Item item{paths::child(level.folder, entry.name), entry.kind};
    if (!visit(item)) continue;
    const Result<bool> folder = isFolder(item);
    if (folder && *folder) enter(item.path);
  }
}

Result<bool> FolderWalk::isFolder(const Item& item) const {
  if (item.kind != platform::FileKind::Unknown) return item.kind == platform::FileKind::Directory;
  const auto status = files_.status(item.path);
  if (!status) return status.error();
  return status->kind == platform::FileKind::Directory;
}

}  // namespace kelm
