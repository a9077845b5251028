#include "kelm/testing/memory_file_system.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <deque>
#include <utility>

namespace kelm::testing {

using platform::DirectoryEntry;
using platform::FileKind;
using platform::FileStatus;

struct MemoryFileSystem::Node {
  FileKind kind;
  std::uint32_t permissions;
  Date created;
  Date modified;
  Data content;
  std::string target;                          // of a link
  std::map<std::string, NodePointer> entries;  // of a folder
  std::map<std::string, NodePointer> durableEntries;
  Attributes attributes;
  std::shared_ptr<std::atomic<bool>> isLocked = std::make_shared<std::atomic<bool>>(false);

  bool isFolder() const { return kind == FileKind::Directory; }
  NodePointer clone() const {
    auto copy = std::make_shared<Node>(*this);
    copy->isLocked = std::make_shared<std::atomic<bool>>(false);
    for (auto& [name, child] : copy->entries)
      child = child->clone();
    copy->durableEntries = copy->entries;
    return copy;
  }
};

/// Where a path leads: to a node, or to a free name in a folder, or to an error.
struct MemoryFileSystem::Place {
  int error = 0;
  std::vector<NodePointer> way = {};  // the folders from the root to the one that holds the name
  std::string name = {};              // empty for what has none of its own: "/", ".", ".."
  NodePointer node = nullptr;

  /// The error of an operation that needs the item.
  int missing() const { return error != 0 ? error : node ? 0 : ENOENT; }
  bool isBelow(const NodePointer& folder) const {
    return std::find(way.begin(), way.end(), folder) != way.end();
  }
};

Error failedAt(const std::string& path, int error) {
  Error result = posixError(error, path);
  result.userInfo.set("NSFilePath", path);
  return result;
}

namespace {

constexpr std::size_t kLongestName = 255;
constexpr int kMostLinks = 40;

int pathError(const std::string& path) {
  if (path.empty()) return ENOENT;
  if (path.size() >= PATH_MAX) return ENAMETOOLONG;
  return path.find('\0') == std::string::npos ? 0 : EINVAL;
}

std::deque<std::string> partsOf(std::string_view path) {
  std::deque<std::string> parts;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    if (end > 0) parts.emplace_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

std::string withoutSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  return path;
}

}  // namespace

MemoryFileSystem::MemoryFileSystem(std::shared_ptr<platform::Clock> clock)
    : clock_(std::move(clock)), root_(makeNode(FileKind::Directory, 0755)) {}

MemoryFileSystem::~MemoryFileSystem() = default;

MemoryFileSystem::NodePointer MemoryFileSystem::makeNode(FileKind kind,
                                                         std::uint32_t permissions) const {
  auto node = std::make_shared<Node>();
  node->kind = kind;
  node->permissions = permissions;
  node->created = node->modified = now();
  return node;
}

/// Follows a path from the root, as the system does.
MemoryFileSystem::Place MemoryFileSystem::find(const std::string& path, bool follows) const {
  std::vector<NodePointer> way{root_};
  std::deque<std::string> parts = partsOf(path);
  for (int links = 0; !parts.empty();) {
    const std::string part = std::move(parts.front());
    parts.pop_front();
    if (part == ".." && way.size() > 1) way.pop_back();
    if (part == "." || part == "..") continue;
    if (part.size() > kLongestName) return {ENAMETOOLONG};
    const bool isLast = parts.empty();
    const auto found = way.back()->entries.find(part);
    if (found == way.back()->entries.end()) return {isLast ? 0 : ENOENT, way, part};
    const NodePointer child = found->second;
    if (child->kind == FileKind::SymbolicLink && (!isLast || follows || path.ends_with('/'))) {
      if (++links > kMostLinks) return {ELOOP};
      if (child->target.starts_with('/')) way.resize(1);
      const auto target = partsOf(child->target);
      parts.insert(parts.begin(), target.begin(), target.end());
      continue;
    }
    if (isLast && (child->isFolder() || !path.ends_with('/'))) return {0, way, part, child};
    if (!child->isFolder()) return {ENOTDIR};
    way.push_back(child);
  }
  return {0, way, "", way.back()};
}

/// The place of an item itself, for making, removing or renaming it: slashes at the end of the
/// path are no part of its name, and a link is never followed.
MemoryFileSystem::Place MemoryFileSystem::findSlot(const std::string& path) const {
  return find(withoutSlashes(path), false);
}

void MemoryFileSystem::put(const Place& place, NodePointer node) {
  Node& folder = *place.way.back();
  folder.modified = now();
  if (node)
    folder.entries[place.name] = std::move(node);
  else
    folder.entries.erase(place.name);
}

/// Runs an operation that returns an errno, unless the ladder or the path is against it.
template <class Run>
Failure MemoryFileSystem::attempt(const std::string& path, Run run) const {
  int error = nextCall();
  if (error == 0) error = pathError(path);
  if (error == 0) error = run();
  return error == 0 ? Failure() : failedAt(path, error);
}

/// The same on what the path leads to.
template <class T, class Run>
Result<T> MemoryFileSystem::read(const std::string& path, bool follows, Run run) const {
  const Lock lock(mutex_);
  T result{};
  const Failure failure = attempt(path, [&]() KELM_REQUIRES(mutex_) {
    const Place place = find(path, follows);
    return place.missing() != 0 ? place.missing() : run(*place.node, result);
  });
  if (failure) return *failure;
  return result;
}

bool MemoryFileSystem::exists(const std::string& path) const {
  return static_cast<bool>(read<int>(path, true, [](const Node&, int&) { return 0; }));
}

bool MemoryFileSystem::isDirectory(const std::string& path) const {
  return static_cast<bool>(
      read<int>(path, true, [](const Node& node, int&) { return node.isFolder() ? 0 : ENOTDIR; }));
}

Result<FileStatus> MemoryFileSystem::status(const std::string& path) const {
  return read<FileStatus>(path, false, [](const Node& node, FileStatus& status) {
    status.kind = node.kind;
    status.size = node.kind == FileKind::SymbolicLink ? node.target.size() : node.content.size();
    status.permissions = node.permissions;
    status.modified = node.modified;
    status.created = node.created;
    return 0;
  });
}

Result<Data> MemoryFileSystem::readFile(const std::string& path, std::uint64_t mostBytes) const {
  return read<Data>(path, true, [&](const Node& node, Data& content) {
    if (node.content.size() > mostBytes) return EFBIG;
    content = node.content;
    return node.isFolder() ? EISDIR : 0;
  });
}

Result<std::vector<DirectoryEntry>> MemoryFileSystem::list(const std::string& path) const {
  using Entries = std::vector<DirectoryEntry>;
  return read<Entries>(path, true, [](const Node& node, Entries& entries) {
    for (const auto& [name, child] : node.entries)
      entries.push_back({name, child->kind});
    return node.isFolder() ? 0 : ENOTDIR;
  });
}

Failure MemoryFileSystem::writeFile(const std::string& path, DataView content, bool mayReplace) {
  const Lock lock(mutex_);
  return attempt(path, [&]() KELM_REQUIRES(mutex_) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const Place place = find(path, false);
    if (name.empty() || name == "." || name == "..") return EISDIR;
    if (place.error != 0) return place.error;
    if (place.node && !mayReplace) return EEXIST;
    if (place.node && place.node->isFolder()) return EISDIR;
    const bool replaces = place.node && place.node->kind == FileKind::Regular;
    NodePointer file = makeNode(FileKind::Regular, replaces ? place.node->permissions : 0600);
    file->content.assign(content.begin(), content.end());
    put(place, std::move(file));
    syncWayTo(path);
    return 0;
  });
}

Failure MemoryFileSystem::appendToFile(const std::string& path, std::span<const DataView> pieces) {
  const Lock lock(mutex_);
  return attempt(path, [&]() KELM_REQUIRES(mutex_) {
    const Place place = find(path, true);
    if (const int error = place.missing()) return error;
    if (place.node->isFolder()) return EISDIR;
    for (const DataView piece : pieces)
      append(place.node->content, piece);
    place.node->modified = now();
    return 0;
  });
}

/// Every folder on the way to the item holds its present names for good.
void MemoryFileSystem::syncWayTo(const std::string& path) {
  for (const NodePointer& folder : findSlot(path).way)
    folder->durableEntries = folder->entries;
}

Failure MemoryFileSystem::createDirectories(const std::string& path) {
  const Lock lock(mutex_);
  return attempt(path, [&]() KELM_REQUIRES(mutex_) {
    std::string prefix = path.starts_with('/') ? "/" : "";
    for (const std::string& part : partsOf(path)) {
      prefix += part;
      const Place place = findSlot(prefix);
      if (place.error != 0) return place.error;
      if (!place.node) put(place, makeNode(FileKind::Directory, 0700));
      prefix += '/';
    }
    const Place place = find(path, true);
    return place.missing() == 0 && place.node->isFolder() ? 0 : EEXIST;
  });
}

Failure MemoryFileSystem::remove(const std::string& path) {
  const Lock lock(mutex_);
  return attempt(path, [&]() KELM_REQUIRES(mutex_) {
    const std::string stripped = withoutSlashes(path);
    const std::string last = stripped.substr(stripped.rfind('/') + 1);
    if (last == "." || last == "..") return EINVAL;
    const Place place = findSlot(path);
    if (const int error = place.missing()) return error;
    if (place.name.empty()) return EBUSY;
    if (path.ends_with('/') && !place.node->isFolder()) return ENOTDIR;
    put(place, nullptr);
    return 0;
  });
}

Failure MemoryFileSystem::transfer(const std::string& from, const std::string& to, bool copies) {
  const Lock lock(mutex_);
  if (const int error = pathError(to)) return attempt(to, [=] { return error; });
  return attempt(from, [&]() KELM_REQUIRES(mutex_) {
    const Place source = copies ? find(from, false) : findSlot(from), target = findSlot(to);
    if (source.error != 0 || (copies && !source.node)) return source.missing();
    if (copies && to.ends_with('/') && !source.node->isFolder()) return ENOTDIR;
    if (target.error != 0) return target.error;
    if (!copies && source.name.empty()) return EBUSY;
    if (target.name.empty()) return EEXIST;
    if (!source.node) return ENOENT;
    if (target.node) return EEXIST;
    if (!source.node->isFolder() && (from.ends_with('/') || to.ends_with('/'))) return ENOTDIR;
    if (target.isBelow(source.node)) return EINVAL;
    if (!copies) put(source, nullptr);
    put(target, copies ? source.node->clone() : source.node);
    if (copies) syncWayTo(to);
    return 0;
  });
}

bool MemoryFileSystem::removalTouches(const std::string& path, const std::string& other) const {
  const Lock lock(mutex_);
  if (nextCall() != 0) return true;
  const Place removed = find(path, false);
  const Place item = find(other, false);
  if (!removed.node) return false;
  return removed.node == item.node || removed.node == find(other, true).node ||
         removed.isBelow(item.node) || item.isBelow(removed.node);
}

Result<std::unique_ptr<platform::FolderLock>> MemoryFileSystem::lockFolder(
    const std::string& path) {
  using Flag = std::shared_ptr<std::atomic<bool>>;
  class HeldFlag : public platform::FolderLock {
   public:
    explicit HeldFlag(Flag flag) : flag_(std::move(flag)) {}
    ~HeldFlag() override { *flag_ = false; }
    HeldFlag(const HeldFlag&) = delete;
    HeldFlag& operator=(const HeldFlag&) = delete;

   private:
    const Flag flag_;
  };
  const Result<Flag> taken = read<Flag>(path, true, [](const Node& node, Flag& flag) {
    flag = node.isLocked;
    if (!node.isFolder()) return ENOTDIR;
    return flag->exchange(true) ? EWOULDBLOCK : 0;
  });
  if (!taken) return taken.error();
  return std::unique_ptr<platform::FolderLock>(std::make_unique<HeldFlag>(*taken));
}

void MemoryFileSystem::makeSymbolicLink(const std::string& target, const std::string& path) {
  const Lock lock(mutex_);
  NodePointer link = makeNode(FileKind::SymbolicLink, 0777);
  link->target = target;
  put(findSlot(path), std::move(link));
}

void MemoryFileSystem::setPermissions(const std::string& path, std::uint32_t permissions) {
  const Lock lock(mutex_);
  find(path, true).node->permissions = permissions;
}

void MemoryFileSystem::losePower() {
  const Lock lock(mutex_);
  std::vector<NodePointer> toDo{root_};
  while (!toDo.empty()) {
    const NodePointer folder = toDo.back();
    toDo.pop_back();
    folder->entries = folder->durableEntries;
    for (const auto& [name, node] : folder->entries)
      if (node->isFolder()) toDo.push_back(node);
  }
}

int MemoryFileSystem::changeAttributes(const std::string& path,
                                       const std::function<void(Attributes&)>& change) const {
  const Lock lock(mutex_);
  if (const int error = pathError(path)) return error;
  const Place place = find(path, true);
  if (place.missing() == 0) change(place.node->attributes);
  return place.missing();
}

}  // namespace kelm::testing
