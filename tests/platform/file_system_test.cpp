// What every file system keeps to: the system's own and the one in memory.

#include <algorithm>
#include <optional>

#include "tests/platform/file_world.h"

namespace kelm::testing {
namespace {

class FileSystemContract : public ::testing::TestWithParam<FileWorld (*)()> {
 protected:
  FileWorld world_ = GetParam()();
};
INSTANTIATE_TEST_SUITE_P(Each, FileSystemContract,
                         ::testing::Values([] { return FileWorld::real(); }, &FileWorld::inMemory),
                         [](const auto& world) { return world.index == 0 ? "Linux" : "Memory"; });

TEST_P(FileSystemContract, WrittenContentReadsBackWhole) {
  for (const std::size_t size : {0, 65537, 1 << 20}) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
      content[i] = static_cast<char>(i * 31 + i / 251);
    world_.put("a", content);
    EXPECT_TRUE(world_.text("a") == content) << size;
  }
}

TEST_P(FileSystemContract, NewItemsAreOfNowAndCopiesAsOldAsTheirOriginals) {
  world_.put("file", "1");
  const auto file = world_->status(world_.at("file"));
  EXPECT_GE(file->modified.secondsSince1970, 1.6e9);
  EXPECT_LE(file->created, file->modified);
  EXPECT_EQ(codeOf(world_->copy(world_.at("file"), world_.at("copy"))), 0);
  EXPECT_EQ(world_->status(world_.at("copy"))->modified, file->modified);
}

TEST_P(FileSystemContract, ListShowsEveryChildAndNothingElse) {
  std::vector<std::string> folders{".hidden/", "\xff\xfe/"};
  for (int i = 1000; i < 2000; ++i)
    folders.push_back("long names, so that they fill several buffers " + std::to_string(i) + '/');
  for (const std::string& folder : folders)
    world_.makeFolder(folder);
  std::ranges::sort(folders);
  EXPECT_EQ(world_.tree(), folders);
}

TEST_P(FileSystemContract, CreatedFileTakesNoNameThatAnythingHas) {
  world_.put("file", "old");
  world_.makeFolder("folder");
  world_.link("nowhere", "link");
  for (const char* const name : {"file", "folder", "link"})
    EXPECT_EQ(codeOf(world_->createFile(world_.at(name), bytesOf("new"))), EEXIST) << name;
  EXPECT_EQ(codeOf(world_->createFile(world_.at("new"), bytesOf("new"))), 0);
  EXPECT_THAT(world_.tree(), ::testing::ElementsAre("file=old", "folder/", "link@", "new=new"));
}

TEST_P(FileSystemContract, LargerFileThanAskedForIsNotRead) {
  world_.put("file", "12345");
  world_.link("file", "link");
  EXPECT_EQ(codeOf(world_->readFile(world_.at("link"), 4)), EFBIG);
  EXPECT_EQ(codeOf(world_->readFile(world_.at("link"), 5)), 0);
}

TEST_P(FileSystemContract, LockedFolderIsRefusedUntilItsHolderEnds) {
  auto lock = world_->lockFolder(world_.root());
  ASSERT_TRUE(lock);
  EXPECT_EQ(codeOf(world_->lockFolder(world_.root())), EWOULDBLOCK);
  lock->reset();
  EXPECT_EQ(codeOf(world_->lockFolder(world_.root())), 0);
  EXPECT_EQ(codeOf(world_->lockFolder(world_.at("none"))), ENOENT);
}

TEST_P(FileSystemContract, RemovalTouchesTheSameItemInEverySpelling) {
  world_.makeFolder("folder");
  world_.put("folder/file", "");
  world_.put("other", "");
  world_.link("folder", "toFolder");
  world_.link("folder/file", "toFile");
  const struct {
    const char *path, *other;
    bool touches;
  } kRows[] = {{"folder/file", "folder/./file", true},
               {"toFolder/file", "folder/file", true},
               {"folder/../folder/file", "folder//file", true},
               {"folder/file", "toFile", true},   // what the link leads to
               {"toFile", "folder/file", false},  // only the link goes
               {"folder", "toFolder/file", true},
               {"toFolder/file", "folder", true},
               {"toFolder/none", "folder", false},
               {"folder/file", "other", false},
               {"folder", "folder2", false}};
  for (const auto& row : kRows)
    EXPECT_EQ(world_->removalTouches(world_.at(row.path), world_.at(row.other)), row.touches)
        << row.path << ' ' << row.other;
}

// Every operation on every kind of path must do the same, or fail for the same reason, in both.

std::vector<std::string> oddPaths() {
  std::vector<std::string> paths{"", ".", "folder/.", "//folder//file"};
  for (const std::string item :
       {"none", "file", "folder", "toFile", "toFolder", "dangling", "loop", "absolute"})
    for (const char* const suffix : {"", "/", "/x", "/.."})
      paths.push_back(item + suffix);
  return paths;
}

FileWorld furnished(FileWorld world) {
  world.makeFolder("w/folder/deep/deeper");
  world.makeFolder("outside");
  for (const std::string file : {"outside/file", "w/folder/file", "w/file"})
    world.put(file, std::string(file.size(), 'x'));
  world.setPermissions("w/file", 0440);
  world.setPermissions("w/folder/deep", 0750);
  world.link("../../../outside", "w/folder/deep/toFolder");
  world.link(world.at("outside/file"), "w/folder/toFile");
  world.link("file", "w/toFile");
  world.link("folder", "w/toFolder");
  world.link("/nowhere/at/all", "w/dangling");
  world.link("loop", "w/loop");
  world.link(world.at("w/folder"), "w/absolute");
  return world;
}

/// Every item with its permissions, and its size unless it is a folder.
std::vector<std::string> stateOf(const FileWorld& world) {
  std::vector<std::string> state = world.tree();
  for (std::string& item : state) {
    const std::size_t end = item.find_last_of("/=@");
    const auto status = world->status(world.at(item.substr(0, end)));
    const bool isFolder = status->kind == platform::FileKind::Directory;
    item += ' ' + std::to_string(status->permissions) + ' ' +
            (isFolder ? "" : std::to_string(status->size));
  }
  return state;
}

const auto unsynced = std::make_shared<const UnsyncedCalls>();

using Operation = int (*)(const FileWorld& world, const std::string& path);
const std::pair<const char*, Operation> kOperations[] = {
    {"exists", [](auto& w, auto& path) { return int{w->exists(path)}; }},
    {"isDirectory", [](auto& w, auto& path) { return int{w->isDirectory(path)}; }},
    {"status", [](auto& w, auto& path) { return codeOf(w->status(path)); }},
    {"readFile", [](auto& w, auto& path) { return codeOf(w->readFile(path)); }},
    {"list", [](auto& w, auto& path) { return codeOf(w->list(path)); }},
    {"replaceFile", [](auto& w, auto& path) { return codeOf(w->replaceFile(path, {})); }},
    {"createDirectories", [](auto& w, auto& path) { return codeOf(w->createDirectories(path)); }},
    {"move to", [](auto& w, auto& path) { return codeOf(w->move(w.at("w/file"), path)); }},
    {"copy from", [](auto& w, auto& path) { return codeOf(w->copy(path, w.at("w/copy"))); }},
    {"remove", [](auto& w, auto& path) { return codeOf(w->remove(path)); }},
};

/// The same tree twice, made anew once an operation has changed it.
class Twins {
 public:
  /// Expects the same result of `run`, and the same tree after it.
  template <class Run>
  void expectAlike(const Run& run, const std::string& what) {
    if (!real_) real_ = furnished(FileWorld::real(unsynced));
    if (!memory_) memory_ = furnished(FileWorld::inMemory());
    const auto before = stateOf(*memory_);
    ASSERT_EQ(run(*real_), run(*memory_)) << what;
    const auto after = stateOf(*memory_);
    ASSERT_EQ(stateOf(*real_), after) << what;
    if (after == before) return;
    real_.reset();
    memory_.reset();
  }

 private:
  std::optional<FileWorld> real_;
  std::optional<FileWorld> memory_;
};

TEST(FileSystemEquality, EachOperationEndsAlikeOnEachPath) {
  Twins twins;
  std::vector<std::string> paths = oddPaths();
  paths.insert(paths.end(),
               {std::string("cut\0here", 8), std::string(255, 'n'), std::string(256, 'n'),
                std::string(5000, '/') + "x", "100%25@%n", "\xff\xc3 b\n"});
  for (const auto& [operation, run] : kOperations)
    for (const std::string& path : paths)
      twins.expectAlike([&, run = run](const FileWorld& w) { return run(w, w.at("w/" + path)); },
                        std::string(operation) + ' ' + path);
  twins.expectAlike([](const FileWorld& w) { return codeOf(w->remove("/")); }, "remove /");
}

TEST(FileSystemEquality, EachMoveAndCopyEndsAlike) {
  Twins twins;
  for (const std::string& from : oddPaths())
    for (const std::string& to : oddPaths())
      for (const bool moves : {true, false})
        twins.expectAlike(
            [&](const FileWorld& w) {
              const std::string source = w.at("w/" + from), target = w.at("w/" + to);
              return codeOf(moves ? w->move(source, target) : w->copy(source, target));
            },
            (moves ? "move " : "copy ") + from + " to " + to);
}

}  // namespace
}  // namespace kelm::testing
