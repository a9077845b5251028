// What a loss of power may leave: everything that a call wrote or named, and that no later call
// synced, may be gone or torn.

#include <fcntl.h>
#include <sys/stat.h>

#include <set>
#include <string>

#include "tests/platform/file_world.h"

namespace kelm::testing {
namespace {

ino_t numberOf(int folder, const std::string& path) {
  struct stat status {};
  ::fstatat(folder, path.c_str(), &status, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH);
  return status.st_ino;
}

/// Real calls. Remembers the files with new bytes and the folders with new names that were not
/// synced, and looks after each call at what a path leads to.
class RecordingCalls : public UnsyncedCalls {
 public:
  bool syncs = true;
  mutable std::set<ino_t> unsynced;
  mutable bool wasTorn = false;  ///< the path led to bytes that were not synced
  mutable bool wasLost = false;  ///< nothing was there any more

  void watch(const std::string& path) {
    unsynced.clear();
    watched_ = path;
    isThere_ = numberOf(AT_FDCWD, path) != 0;
  }
  int open(int folder, const char* path, int flags, mode_t mode) const override {
    const int file = UnsyncedCalls::open(folder, path, flags, mode);
    return (flags & O_CREAT) != 0 ? named(file, folder, path) : file;
  }
  ssize_t write(int file, const std::uint8_t* bytes, std::size_t count) const override {
    unsynced.insert(numberOf(file, ""));
    look();
    return FileCalls::write(file, bytes, count);
  }
  int sync(int descriptor) const override {
    if (syncs) unsynced.erase(numberOf(descriptor, ""));
    return 0;
  }
  int link(int file, int folder, const char* name) const override {
    return named(FileCalls::link(file, folder, name), folder, name);
  }
  int rename(int folder, const char* from, int toFolder, const char* to,
             bool replaces) const override {
    return named(FileCalls::rename(folder, from, toFolder, to, replaces), toFolder, to);
  }
  int makeFolder(int folder, const char* path, mode_t permissions) const override {
    return named(FileCalls::makeFolder(folder, path, permissions), folder, path);
  }
  int unlink(int folder, const char* path, int flags) const override {
    const int result = FileCalls::unlink(folder, path, flags);
    if (result == 0) look();
    return result;
  }

 private:
  int named(int result, int folder, const std::string& path) const {
    if (result < 0) return result;
    const std::size_t slash = path.rfind('/');
    unsynced.insert(numberOf(folder, slash == path.npos ? "" : path.substr(0, slash)));
    look();
    return result;
  }
  void look() const {
    if (watched_.empty()) return;
    const ino_t number = numberOf(AT_FDCWD, watched_);
    wasTorn = wasTorn || unsynced.contains(number);
    wasLost = wasLost || (isThere_ && number == 0);
    isThere_ = number != 0;
  }

  std::string watched_;
  mutable bool isThere_ = false;
};

void putNew(const FileWorld& world) { world.put("f", "new"); }

struct Operation {
  const char* name;
  std::string path;
  void (*prepare)(const FileWorld& world);
  void (*run)(const FileWorld& world);
};
const Operation kOperations[] = {
    {"new file", "f", [](auto&) {}, putNew},
    {"replaced file", "f", [](auto& w) { w.put("f", "old"); }, putNew},
    {"folders just made", "a/b/f", [](auto&) {},
     [](const FileWorld& w) {
       w.makeFolder("a");
       w.makeFolder("a//b/");
       w.put("/a/b//f", "new");
     }},
    {"folders just moved", "a/b/f", [](auto& w) { w.makeFolder("x/y"); },
     [](const FileWorld& w) {
       ASSERT_FALSE(w->move(w.at("x/y"), w.at("x/b")));
       ASSERT_FALSE(w->move(w.at("x"), w.at("a")));
       w.put("a/b/f", "new");
     }},
    {"more folders than are remembered", "a/b/f", [](auto&) {},
     [](const FileWorld& w) {
       for (int i = 0; i < 300; ++i)
         w.makeFolder("a/b/" + std::to_string(i));
       w.put("a/b/f", "new");
     }},
    {"copy", "to/sub/f",
     [](const FileWorld& w) {
       w.makeFolder("from/sub");
       w.put("from/sub/f", "content");
     },
     [](const FileWorld& w) { ASSERT_FALSE(w->copy(w.at("from"), w.at("to"))); }},
};

TEST(FileDurability, ContentIsOldOrNewAndWholeAtEveryMomentAndThereAtTheEndUnlessNothingIsSynced) {
  for (const Operation& operation : kOperations)
    for (const bool syncs : {true, false})
      for (const bool hasNamelessFiles : {true, false}) {
        SCOPED_TRACE(operation.name);
        const auto calls = std::make_shared<RecordingCalls>();
        calls->hasNamelessFiles = hasNamelessFiles;
        const FileWorld world = FileWorld::real(calls);
        operation.prepare(world);
        calls->syncs = syncs;
        calls->watch(world.at(operation.path));
        operation.run(world);
        EXPECT_EQ(calls->wasTorn, !syncs);
        EXPECT_FALSE(calls->wasLost);
        bool isDurable = true;
        for (std::string way = world.at(operation.path); way.size() >= world.root().size();
             way.resize(way.rfind('/')))
          isDurable = isDurable && !calls->unsynced.contains(numberOf(AT_FDCWD, way));
        EXPECT_EQ(isDurable, syncs);
      }
}

}  // namespace
}  // namespace kelm::testing
