// What every file system keeps to: the system's own and the one in memory.

#include <optional>
#include <set>

#include "tests/platform/file_world.h"

namespace kelm::test {
namespace {

using platform::FileKind;
using testing::ElementsAre;

class FileSystemContract : public testing::TestWithParam<FileWorld (*)()> {
 protected:
  FileWorld world_ = GetParam()();
};
INSTANTIATE_TEST_SUITE_P(Each, FileSystemContract,
                         testing::Values([] { return FileWorld::real(); }, &FileWorld::inMemory),
                         [](const auto& world) { return world.index == 0 ? "Linux" : "Memory"; });

TEST_P(FileSystemContract, WrittenContentReadsBackWhole) {
  for (const std::size_t size : {0, 1, 65536, 65537, 1 << 20}) {
    Data content(size);
    for (std::size_t i = 0; i < size; ++i)
      content[i] = static_cast<std::uint8_t>(i * 31 + i / 251);
    ASSERT_EQ(codeOf(world_->replaceFile(world_.at("a"), content)), 0) << size;
    const auto read = world_->readFile(world_.at("a"));
    ASSERT_TRUE(read) << size;
    EXPECT_TRUE(*read == content) << size;
    EXPECT_EQ(world_->status(world_.at("a"))->size, size);
  }
}

TEST_P(FileSystemContract, ReplacingALinkReplacesTheLinkItself) {
  world_.put("target", "kept");
  world_.link("target", "link");
  world_.link("nowhere", "dangling");
  world_.put("link", "new");
  world_.put("dangling", "new");
  EXPECT_THAT(world_.tree(), ElementsAre("dangling=new", "link=new", "target=kept"));
  EXPECT_EQ(world_->status(world_.at("link"))->permissions, 0600U);
}

TEST_P(FileSystemContract, NewItemsAreTheOwnersAloneAndStatusIsOfTheItemItself) {
  world_.makeFolder("folder");
  world_.put("file", "12345");
  world_.link("file", "link");
  const auto folder = world_->status(world_.at("folder"));
  const auto file = world_->status(world_.at("file"));
  EXPECT_EQ(folder->kind, FileKind::Directory);
  EXPECT_EQ(folder->permissions, 0700U);
  EXPECT_EQ(file->kind, FileKind::Regular);
  EXPECT_EQ(file->permissions, 0600U);
  EXPECT_GE(file->modified.secondsSince1970, 1.6e9);
  EXPECT_LE(file->created, file->modified);
  EXPECT_EQ(world_->status(world_.at("link"))->kind, FileKind::SymbolicLink);
  world_.setPermissions("file", 0755U);
  world_.put("file", "replaced");
  EXPECT_EQ(world_->status(world_.at("file"))->permissions, 0755U);
}

TEST_P(FileSystemContract, RemoveNeverFollowsALink) {
  world_.makeFolder("outside");
  world_.put("outside/precious", "kept");
  world_.makeFolder("tree/sub");
  world_.link(world_.at("outside"), "tree/toFolder");
  world_.link("../../outside", "tree/sub/toFolder");
  world_.link(world_.at("outside/precious"), "tree/toFile");
  world_.link("outside", "link");
  EXPECT_EQ(codeOf(world_->remove(world_.at("tree"))), 0);
  EXPECT_EQ(codeOf(world_->remove(world_.at("link/"))), ENOTDIR);
  EXPECT_EQ(codeOf(world_->remove(world_.at("link"))), 0);
  EXPECT_EQ(codeOf(world_->remove("/")), EBUSY);
  EXPECT_THAT(world_.tree(), ElementsAre("outside/", "outside/precious=kept"));
}

TEST_P(FileSystemContract, CopyTakesTheWholeTreeWithLinksAsLinks) {
  world_.makeFolder("from/sub/empty");
  world_.put("from/sub/file", "1");
  world_.put("from/large", std::string(200'000, 'x'));
  world_.setPermissions("from/sub/file", 0444);
  world_.setPermissions("from/sub", 0750);
  world_.link("nowhere", "from/sub/link");
  const auto before = world_->status(world_.at("from/sub/file"));
  EXPECT_EQ(codeOf(world_->copy(world_.at("from"), world_.at("to"))), 0);
  EXPECT_EQ(world_.tree("to/").size(), world_.tree("from/").size());
  EXPECT_EQ(world_.text("to/sub/file"), "1");
  EXPECT_EQ(world_.text("to/large"), world_.text("from/large"));
  EXPECT_EQ(world_->status(world_.at("to/sub/link"))->kind, FileKind::SymbolicLink);
  EXPECT_EQ(world_->status(world_.at("to/sub/file"))->permissions, 0444U);
  EXPECT_EQ(world_->status(world_.at("to/sub/file"))->modified, before->modified);
  EXPECT_EQ(world_->status(world_.at("to/sub"))->permissions, 0750U);
}

TEST_P(FileSystemContract, ListShowsEveryChildAndNothingElse) {
  std::set<std::pair<std::string, FileKind>> expected, listed;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = "a long name, so that they fill several buffers " + std::to_string(i);
    world_.makeFolder(name);
    expected.emplace(name, FileKind::Directory);
  }
  for (const std::string name : {"file", ".hidden", "\xff\xfe"}) {
    world_.put(name, "");
    expected.emplace(name, FileKind::Regular);
  }
  world_.link("file", "link");
  expected.emplace("link", FileKind::SymbolicLink);
  const auto entries = world_->list(world_.root() + "/");
  for (const auto& entry : *entries)
    EXPECT_TRUE(listed.emplace(entry.name, entry.kind).second) << entry.name;
  EXPECT_EQ(listed, expected);
}

TEST_P(FileSystemContract, NamesAreNeverDecoded) {
  for (const std::string& name : {std::string("100%25%@%n"), std::string(255, 'n'),
                                  std::string("\xff\xc3"), std::string("a b\n\xc3\xbc")}) {
    world_.put(name, name);
    EXPECT_EQ(world_.text(name), name);
    EXPECT_EQ(codeOf(world_->remove(world_.at(name))), 0);
  }
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
  world.put("w/file", "1");
  world.put("w/folder/file", "2");
  world.link("file", "w/toFile");
  world.link("folder", "w/toFolder");
  world.link("/nowhere/at/all", "w/dangling");
  world.link("loop", "w/loop");
  world.link(world.at("w/folder"), "w/absolute");
  return world;
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
    const auto before = memory_->tree();
    ASSERT_EQ(run(*real_), run(*memory_)) << what;
    ASSERT_EQ(real_->tree(), memory_->tree()) << what;
    if (memory_->tree() == before) return;
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
               {std::string("cut\0here", 8), std::string(256, 'n'), std::string(5000, '/') + "x"});
  for (const auto& [operation, run] : kOperations)
    for (const std::string& path : paths)
      twins.expectAlike([&, run = run](const FileWorld& w) { return run(w, w.at("w/" + path)); },
                        std::string(operation) + ' ' + path);
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
}  // namespace kelm::test
