// What a loss of power may leave: the calls of an operation are recorded, then every state that
// they permit after each of them is made and looked at.

#include <fcntl.h>

#include <map>
#include <set>

#include "tests/platform/file_world.h"

namespace kelm::test {
namespace {

using platform::FileCalls;
using Number = ino_t;  // stands for an item

/// One thing that a call did: to the names of a folder, or to a content.
struct Event {
  enum class Kind { Name, Unname, Rename, Write, SyncFile, SyncFolder } kind;
  Number item = 0;
  Number folder = 0;  // of Name, Unname, Rename and SyncFolder
  std::string name = {};
  Number oldFolder = 0;  // of Rename
  std::string oldName = {};
};

/// Real calls that are written down.
class RecordingCalls : public UnsyncedCalls {
 public:
  bool syncs = true;
  mutable std::vector<Event> events;

  int open(int folder, const char* path, int flags, mode_t mode) const override {
    const int file = UnsyncedCalls::open(folder, path, flags, mode);
    return (flags & O_CREAT) != 0 ? named(file, folder, path) : file;
  }
  ssize_t write(int file, const std::uint8_t* bytes, std::size_t count) const override {
    events.push_back({Event::Kind::Write, numberOf(file, "")});
    return FileCalls::write(file, bytes, count);
  }
  int sync(int descriptor) const override {
    struct stat status;
    if (!syncs || ::fstat(descriptor, &status) != 0) return 0;
    const bool isFolder = S_ISDIR(status.st_mode);
    events.push_back(
        {isFolder ? Event::Kind::SyncFolder : Event::Kind::SyncFile, status.st_ino, status.st_ino});
    return 0;
  }
  int link(int file, int folder, const char* name) const override {
    return named(FileCalls::link(file, folder, name), folder, name);
  }
  int rename(int folder, const char* from, int toFolder, const char* to,
             bool replaces) const override {
    const int result = FileCalls::rename(folder, from, toFolder, to, replaces);
    if (result == 0)
      events.push_back({Event::Kind::Rename, numberOf(toFolder, to), folderOf(toFolder, to),
                        lastOf(to), folderOf(folder, from), lastOf(from)});
    return result;
  }
  int makeFolder(int folder, const char* path, mode_t permissions) const override {
    return named(FileCalls::makeFolder(folder, path, permissions), folder, path);
  }
  int unlink(int folder, const char* path, int flags) const override {
    const int result = FileCalls::unlink(folder, path, flags);
    if (result == 0)
      events.push_back({Event::Kind::Unname, 0, folderOf(folder, path), lastOf(path)});
    return result;
  }

 private:
  static Number numberOf(int folder, const char* path) {
    struct stat status {};
    ::fstatat(folder, path, &status, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH);
    return status.st_ino;
  }
  static std::string lastOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }
  static Number folderOf(int folder, const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return numberOf(folder, slash == path.npos ? "" : path.substr(0, slash).c_str());
  }
  /// Writes down what a call named if it succeeded; its result.
  int named(int result, int folder, const char* path) const {
    if (result >= 0)
      events.push_back(
          {Event::Kind::Name, numberOf(folder, path), folderOf(folder, path), lastOf(path)});
    return result;
  }
};

/// What is on the disk: the names in each folder, and which contents are whole.
struct Disk {
  std::map<Number, std::map<std::string, Number>> folders;
  std::set<Number> torn;  // files with bytes that were never synced

  void apply(const Event& event) {
    if (event.kind == Event::Kind::Rename) folders[event.oldFolder].erase(event.oldName);
    if (event.kind == Event::Kind::Unname)
      folders[event.folder].erase(event.name);
    else
      folders[event.folder][event.name] = event.item;
  }
  /// The item at a path below a folder, 0 when there is none.
  Number find(Number root, std::string_view path) const {
    while (!path.empty()) {
      const std::string part(path.substr(0, path.find('/')));
      path.remove_prefix(std::min(path.size(), part.size() + 1));
      const auto folder = folders.find(root);
      if (folder == folders.end() || !folder->second.contains(part)) return 0;
      root = folder->second.at(part);
    }
    return root;
  }
};

bool changesNames(const Event& event) { return event.kind <= Event::Kind::Rename; }

/// Calls `look` with every disk that may be found when the power goes after `count` events. What a
/// sync covered is there; of the rest, any part.
void forEachDisk(const Disk& before, const std::vector<Event>& events, std::size_t count,
                 const std::function<void(const Disk&)>& look) {
  Disk certain = before;
  std::vector<Event> open;
  for (std::size_t i = 0; i < count; ++i) {
    const Event& event = events[i];
    if (event.kind == Event::Kind::Write) certain.torn.insert(event.item);
    if (event.kind == Event::Kind::SyncFile) certain.torn.erase(event.item);
    if (changesNames(event)) open.push_back(event);
    if (event.kind != Event::Kind::SyncFolder) continue;
    std::erase_if(open, [&](const Event& change) {
      const bool isCovered = change.folder == event.folder;
      if (isCovered) certain.apply(change);
      return isCovered;
    });
  }
  ASSERT_LT(open.size(), 16U);
  for (unsigned chosen = 0; chosen < 1U << open.size(); ++chosen) {
    Disk disk = certain;
    for (std::size_t i = 0; i < open.size(); ++i)
      if ((chosen >> i & 1U) != 0) disk.apply(open[i]);
    look(disk);
  }
}

struct Recorded {
  std::shared_ptr<RecordingCalls> calls = std::make_shared<RecordingCalls>();
  FileWorld world = FileWorld::real(calls);

  Number number(const std::string& name) const {
    struct stat status {};
    ::stat(world.at(name).c_str(), &status);
    return status.st_ino;
  }
  /// The disk as it is now, all of it synced.
  Disk disk(const std::string& below = "") const {
    Disk result;
    std::map<std::string, Number>& names = result.folders[number(below)];
    const auto entries = world->list(world.at(below));
    for (const auto& entry : *entries) {
      names[entry.name] = number(below + entry.name);
      if (entry.kind == platform::FileKind::Directory)
        result.folders.merge(disk(below + entry.name + '/').folders);
    }
    return result;
  }
};

struct Outcome {
  int torn = 0;  // a path that leads to bytes never synced
  int lost = 0;  // neither the old item nor the new one, or not the new one at the end
};

/// Runs an operation and looks at `path` on every disk that a loss of power may leave.
template <class Operation>
Outcome outcomeOf(Recorded& recorded, const std::string& path, const Operation& run) {
  const Disk before = recorded.disk();
  const Number root = recorded.number("");
  const Number old = before.find(root, path);
  recorded.calls->events.clear();
  run(recorded.world);
  const std::vector<Event> events = recorded.calls->events;
  const Number fresh = recorded.number(path);
  Outcome outcome;
  for (std::size_t count = 0; count <= events.size(); ++count)
    forEachDisk(before, events, count, [&](const Disk& disk) {
      const Number found = disk.find(root, path);
      outcome.torn += disk.torn.contains(found);
      outcome.lost += count == events.size() ? found != fresh : found != old && found != fresh;
    });
  return outcome;
}

TEST(FileDurability, ReplacedContentIsOldOrNewAndWholeUnlessNothingWasSynced) {
  for (const bool syncs : {true, false})
    for (const bool hasNamelessFiles : {true, false})
      for (const bool isThere : {true, false}) {
        Recorded recorded;
        if (isThere) recorded.world.put("f", "old");
        recorded.calls->hasNamelessFiles = hasNamelessFiles;
        recorded.calls->syncs = syncs;
        const Outcome outcome =
            outcomeOf(recorded, "f", [](const FileWorld& world) { world.put("f", "new"); });
        EXPECT_EQ(outcome.torn == 0, syncs);
        EXPECT_EQ(outcome.lost == 0, syncs);
      }
}

TEST(FileDurability, FileInFoldersThatWereJustMadeOrMovedIsThereAtTheEnd) {
  const std::pair<const char*, void (*)(const FileWorld&)> kWays[] = {
      {"made",
       [](const FileWorld& w) {
         w.makeFolder("a");
         w.makeFolder("a//b/");
         w.put("/a/b//f", "new");
       }},
      {"moved",
       [](const FileWorld& w) {
         w.makeFolder("x/y");
         ASSERT_FALSE(w->move(w.at("x/y"), w.at("x/b")));
         ASSERT_FALSE(w->move(w.at("x"), w.at("a")));
         w.put("a/b/f", "new");
       }},
      {"many others made before",
       [](const FileWorld& w) {
         for (int i = 0; i < 300; ++i)
           w.makeFolder("a/b/" + std::to_string(i));
         w.put("a/b/f", "new");
         for (int i = 0; i < 300; ++i)
           ASSERT_FALSE(w->remove(w.at("a/b/" + std::to_string(i))));
         w.put("a/b/f", "newer");
       }},
  };
  for (const auto& [how, make] : kWays) {
    SCOPED_TRACE(how);
    Recorded recorded;
    const Disk before = recorded.disk();
    make(recorded.world);
    const std::vector<Event>& events = recorded.calls->events;
    forEachDisk(before, events, events.size(), [&](const Disk& disk) {
      EXPECT_EQ(disk.find(recorded.number(""), "a/b/f"), recorded.number("a/b/f"));
    });
  }
}

TEST(FileDurability, CopyIsWholeOrAbsentAtEveryMomentAndThereAtTheEnd) {
  Recorded recorded;
  recorded.world.makeFolder("from/sub");
  recorded.world.put("from/sub/f", "content");
  for (const char* const path : {"to/sub/f", "to"}) {
    const Outcome outcome = outcomeOf(recorded, path, [](const FileWorld& world) {
      ASSERT_FALSE(world->copy(world.at("from"), world.at("to")));
    });
    EXPECT_EQ(outcome.torn, 0) << path;
    EXPECT_EQ(outcome.lost, 0) << path;
    ASSERT_FALSE(recorded.world->remove(recorded.world.at("to")));
  }
}

}  // namespace
}  // namespace kelm::test
