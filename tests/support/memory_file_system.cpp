#include "tests/support/memory_file_system.h"

#include <algorithm>
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
  Attributes attributes;

  bool isFolder() const { return kind == FileKind::Directory; }
  NodePointer clone() const {
    auto copy = std::make_shared<Node>(*this);
    for (auto& [name, child] : copy->entries)
      child = child->clone();
    copy->durableEntries = copy->entries;
    return copy;
  }
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

bool MemoryFileSystem::isBelow(const Place& place, const NodePointer& node) {
  return std::find(place.way.begin(), place.way.end(), node) != place.way.end();
}

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
  T result;
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

Result<Data> MemoryFileSystem::readFile(const std::string& path) const {
  return read<Data>(path, true, [](const Node& node, Data& content) {
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

Failure MemoryFileSystem::replaceFile(const std::string& path, DataView content) {
  const Lock lock(mutex_);
  return attempt(path, [&]() KELM_REQUIRES(mutex_) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const Place place = find(path, false);
    if (name.empty() || name == "." || name == "..") return EISDIR;
    if (place.error != 0) return place.error;
    if (place.node && place.node->isFolder()) return EISDIR;
    const bool replaces = place.node && place.node->kind == FileKind::Regular;
    NodePointer file = makeNode(FileKind::Regular, replaces ? place.node->permissions : 0600);
    file->content.assign(content.begin(), content.end());
    put(place, std::move(file));
    syncWayTo(path);
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

Failure MemoryFileSystem::move(const std::string& from, const std::string& to) {
  const Lock lock(mutex_);
  if (const int error = pathError(to)) return attempt(to, [=] { return error; });
  return attempt(from, [&]() KELM_REQUIRES(mutex_) {
    const Place source = findSlot(from), target = findSlot(to);
    if (source.error != 0) return source.error;
    if (target.error != 0) return target.error;
    if (source.name.empty()) return EBUSY;
    if (target.name.empty()) return EEXIST;
    if (!source.node) return ENOENT;
    if (target.node) return EEXIST;
    if (!source.node->isFolder() && (from.ends_with('/') || to.ends_with('/'))) return ENOTDIR;
    if (isBelow(target, source.node)) return EINVAL;
    put(source, nullptr);
    put(target, source.node);
    return 0;
  });
}

Failure MemoryFileSystem::copy(const std::string& from, const std::string& to) {
  const Lock lock(mutex_);
  if (const int error = pathError(to)) return attempt(to, [=] { return error; });
  return attempt(from, [&]() KELM_REQUIRES(mutex_) {
    const Place source = find(from, false), target = findSlot(to);
    if (const int error = source.missing()) return error;
    if (!source.node->isFolder() && to.ends_with('/')) return ENOTDIR;
    if (target.error != 0) return target.error;
    if (target.node) return EEXIST;
    if (isBelow(target, source.node)) return EINVAL;
    put(target, source.node->clone());
    syncWayTo(to);
    return 0;
  });
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
  const Place place = find(path, true);
  if (place.missing() == 0) change(place.node->attributes);
  return place.missing();
}

}  // namespace kelm::test
