#include "tests/support/memory_file_system.h"

#include <climits>
#include <deque>
#include <utility>

namespace kelm::test {

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
  std::map<std::string, std::string> attributes;

  bool isFolder() const { return kind == FileKind::Directory; }
};

/// Where a path leads: to a node, or to a free name in a folder, or to an error.
struct MemoryFileSystem::Place {
  int error = 0;
  NodePointer folder;
  std::string name;  // empty for what has none of its own: "/", ".", ".."
  NodePointer node;
  std::vector<NodePointer> way = {};  // the folders from the root to `folder`

  /// The error of an operation that needs the item.
  int missing() const { return error != 0 ? error : node ? 0 : ENOENT; }
};

namespace {

constexpr std::size_t kLongestName = 255;
constexpr int kMostLinks = 40;

Error failedAt(const std::string& path, int error) {
  Error result = posixError(error, path);
  result.userInfo.set("NSFilePath", path);
  return result;
}

Failure failure(int error, const std::string& path) {
  return error == 0 ? Failure() : failedAt(path, error);
}

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

/// Follows a path from the root, as the system does.
class MemoryFileSystem::Walk {
 public:
  Walk(NodePointer root, const std::string& path)
      : way_{std::move(root)}, parts_(partsOf(path)), endsInSlash_(path.ends_with('/')) {}

  Place run(bool follows) {
    while (!parts_.empty()) {
      const std::string part = std::move(parts_.front());
      parts_.pop_front();
      if (part == ".") continue;
      if (part == "..") {
        if (way_.size() > 1) way_.pop_back();
        continue;
      }
      if (part.size() > kLongestName) return {ENAMETOOLONG, nullptr, {}, nullptr};
      const bool isLast = parts_.empty();
      const auto found = way_.back()->entries.find(part);
      if (found == way_.back()->entries.end())
        return isLast ? Place{0, way_.back(), part, nullptr, way_}
                      : Place{ENOENT, nullptr, {}, nullptr};
      const NodePointer child = found->second;
      if (child->kind == FileKind::SymbolicLink && (!isLast || follows || endsInSlash_)) {
        if (++links_ > kMostLinks) return {ELOOP, nullptr, {}, nullptr};
        goTo(child->target);
        continue;
      }
      if (isLast && (child->isFolder() || !endsInSlash_))
        return {0, way_.back(), part, child, way_};
      if (!child->isFolder()) return {ENOTDIR, nullptr, {}, nullptr};
      way_.push_back(child);
    }
    const NodePointer reached = way_.back();
    return {0, reached, "", reached, way_};
  }

 private:
  void goTo(const std::string& target) {
    if (target.starts_with('/')) way_.resize(1);
    const auto parts = partsOf(target);
    parts_.insert(parts_.begin(), parts.begin(), parts.end());
  }

  std::vector<NodePointer> way_;
  std::deque<std::string> parts_;
  bool endsInSlash_;
  int links_ = 0;
};

MemoryFileSystem::MemoryFileSystem(std::shared_ptr<platform::Clock> clock)
    : clock_(std::move(clock)), root_(makeNode(FileKind::Directory, 0755)) {}

MemoryFileSystem::~MemoryFileSystem() = default;

MemoryFileSystem::NodePointer MemoryFileSystem::makeNode(FileKind kind,
                                                         std::uint32_t permissions) const {
  auto node = std::make_shared<Node>();
  node->kind = kind;
  node->permissions = permissions;
  node->created = node->modified = clock_ ? clock_->now() : Date{1'700'000'000};
  return node;
}

MemoryFileSystem::Place MemoryFileSystem::find(const std::string& path, bool follows) const {
  if (const int error = pathError(path)) return {error, nullptr, {}, nullptr};
  return Walk(root_, path).run(follows);
}

/// The place of an item itself, for making, removing or renaming it: slashes at the end of the
/// path are no part of its name, and a link is never followed.
MemoryFileSystem::Place MemoryFileSystem::findSlot(const std::string& path) const {
  if (const int error = pathError(path)) return {error, nullptr, {}, nullptr};
  return find(withoutSlashes(path), false);
}

void MemoryFileSystem::put(const Place& place, NodePointer node) {
  if (node)
    place.folder->entries[place.name] = std::move(node);
  else
    place.folder->entries.erase(place.name);
  place.folder->modified = clock_ ? clock_->now() : Date{1'700'000'000};
}

bool MemoryFileSystem::exists(const std::string& path) const {
  const Lock lock(mutex_);
  return nextCall() == 0 && find(path, true).missing() == 0;
}

bool MemoryFileSystem::isDirectory(const std::string& path) const {
  const Lock lock(mutex_);
  if (nextCall() != 0) return false;
  const Place place = find(path, true);
  return place.missing() == 0 && place.node->isFolder();
}

Result<FileStatus> MemoryFileSystem::status(const std::string& path) const {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(path, error);
  const Place place = find(path, false);
  if (const int error = place.missing()) return failedAt(path, error);
  const Node& node = *place.node;
  FileStatus status;
  status.kind = node.kind;
  status.size = node.kind == FileKind::SymbolicLink ? node.target.size() : node.content.size();
  status.permissions = node.permissions;
  status.modified = node.modified;
  status.created = node.created;
  return status;
}

Result<Data> MemoryFileSystem::readFile(const std::string& path) const {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(path, error);
  const Place place = find(path, true);
  if (const int error = place.missing()) return failedAt(path, error);
  if (place.node->isFolder()) return failedAt(path, EISDIR);
  return place.node->content;
}

Failure MemoryFileSystem::replaceFile(const std::string& path, DataView content) {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(path, error);
  if (const int error = pathError(path)) return failedAt(path, error);
  const std::string name = path.substr(path.rfind('/') + 1);
  if (name.empty() || name == "." || name == "..") return failedAt(path, EISDIR);
  Place place = find(path, false);
  if (place.error != 0) return failedAt(path, place.error);
  if (place.node && place.node->isFolder()) return failedAt(path, EISDIR);
  const bool replaces = place.node && place.node->kind == FileKind::Regular;
  NodePointer file = makeNode(FileKind::Regular, replaces ? place.node->permissions : 0600);
  file->content.assign(content.begin(), content.end());
  put(place, std::move(file));
  syncWayTo(path);
  return {};
}

/// Every folder on the way to the item holds its present names for good.
void MemoryFileSystem::syncWayTo(const std::string& path) {
  for (const NodePointer& folder : findSlot(path).way)
    folder->durableEntries = folder->entries;
}

int MemoryFileSystem::makeFolder(const std::string& path) {
  const Place place = findSlot(path);
  if (place.error != 0) return place.error;
  if (place.node) return EEXIST;
  put(place, makeNode(FileKind::Directory, 0700));
  return 0;
}

Failure MemoryFileSystem::createDirectories(const std::string& path) {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(path, error);
  if (const int error = pathError(path)) return failedAt(path, error);
  std::string prefix = path.starts_with('/') ? "/" : "";
  int error = EEXIST;
  for (const std::string& part : partsOf(path)) {
    prefix += part;
    error = makeFolder(prefix);
    if (error != 0 && error != EEXIST) return failedAt(path, error);
    prefix += '/';
  }
  const Place place = find(path, true);
  const bool isThere = error == 0 || (place.missing() == 0 && place.node->isFolder());
  return failure(isThere ? 0 : EEXIST, path);
}

Failure MemoryFileSystem::remove(const std::string& path) {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(path, error);
  const std::string stripped = withoutSlashes(path);
  const std::string last = stripped.substr(stripped.rfind('/') + 1);
  if (pathError(path) == 0 && (last == "." || last == "..")) return failedAt(path, EINVAL);
  const Place place = findSlot(path);
  if (const int error = place.missing()) return failedAt(path, error);
  if (place.name.empty()) return failedAt(path, EBUSY);
  if (path.ends_with('/') && !place.node->isFolder()) return failedAt(path, ENOTDIR);
  put(place, nullptr);
  return {};
}

Failure MemoryFileSystem::move(const std::string& from, const std::string& to) {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(from, error);
  if (const int error = pathError(from)) return failedAt(from, error);
  if (const int error = pathError(to)) return failedAt(to, error);
  return failure(moveLocked(from, to), from);
}

int MemoryFileSystem::moveLocked(const std::string& from, const std::string& to) {
  const Place source = findSlot(from);
  const Place target = findSlot(to);
  if (source.error != 0) return source.error;
  if (target.error != 0) return target.error;
  if (source.name.empty()) return EBUSY;
  if (target.name.empty()) return EEXIST;
  if (!source.node) return ENOENT;
  if (target.node) return EEXIST;
  if (!source.node->isFolder() && (from.ends_with('/') || to.ends_with('/'))) return ENOTDIR;
  for (const NodePointer& above : target.way)
    if (above == source.node) return EINVAL;
  const NodePointer node = source.node;
  put(source, nullptr);
  put(target, node);
  return 0;
}

Failure MemoryFileSystem::copy(const std::string& from, const std::string& to) {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(from, error);
  if (const int error = pathError(from)) return failedAt(from, error);
  if (const int error = pathError(to)) return failedAt(to, error);
  return failure(copyLocked(from, to), from);
}

int MemoryFileSystem::copyLocked(const std::string& from, const std::string& to) {
  const Place source = find(from, false);
  if (const int error = source.missing()) return error;
  const Place target = findSlot(to);
  if (!source.node->isFolder() && to.ends_with('/')) return ENOTDIR;
  if (target.error != 0) return target.error;
  if (target.node) return EEXIST;
  for (const NodePointer& above : target.way)
    if (above == source.node) return EINVAL;
  const auto cloned = [](const auto& self, const Node& node) -> NodePointer {
    auto clone = std::make_shared<Node>(node);
    for (auto& [name, child] : clone->entries)
      child = self(self, *child);
    clone->durableEntries = clone->entries;
    return clone;
  };
  put(target, cloned(cloned, *source.node));
  syncWayTo(to);
  return 0;
}

Result<std::vector<DirectoryEntry>> MemoryFileSystem::list(const std::string& path) const {
  const Lock lock(mutex_);
  if (const int error = nextCall()) return failedAt(path, error);
  const Place place = find(path, true);
  if (const int error = place.missing()) return failedAt(path, error);
  if (!place.node->isFolder()) return failedAt(path, ENOTDIR);
  std::vector<DirectoryEntry> entries;
  for (const auto& [name, node] : place.node->entries)
    entries.push_back({name, node->kind});
  return entries;
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

int MemoryFileSystem::setAttribute(const std::string& path, const std::string& name,
                                   std::string_view value) {
  const Lock lock(mutex_);
  const Place place = find(path, true);
  if (place.missing() == 0) place.node->attributes[name] = value;
  return place.missing();
}

int MemoryFileSystem::removeAttribute(const std::string& path, const std::string& name) {
  const Lock lock(mutex_);
  const Place place = find(path, true);
  if (place.missing() == 0) place.node->attributes.erase(name);
  return place.missing();
}

std::optional<std::string> MemoryFileSystem::attribute(const std::string& path,
                                                       const std::string& name) const {
  const Lock lock(mutex_);
  const Place place = find(path, true);
  if (place.missing() != 0) return std::nullopt;
  const auto found = place.node->attributes.find(name);
  return found != place.node->attributes.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace kelm::test
