// What every file system keeps to: the system's own and the one in memory.

#include "tests/platform/file_world.h"

namespace kelm::test {
namespace {

using platform::FileKind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class FileSystemContract : public testing::TestWithParam<FileWorld (*)()> {
 protected:
  FileWorld world_ = GetParam()();
};
INSTANTIATE_TEST_SUITE_P(Each, FileSystemContract,
                         testing::Values([] { return FileWorld::real(); }, &FileWorld::inMemory),
                         [](const auto& world) { return world.index == 0 ? "Linux" : "Memory"; });

TEST_P(FileSystemContract, WrittenContentReadsBackWhole) {
  for (const std::size_t size : {0, 1, 16384, 65535, 65536, 65537, 1 << 20}) {
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

TEST_P(FileSystemContract, NewFilesAreTheOwnersAloneAndReplacedOnesKeepTheirPermissions) {
  world_.put("a", "1");
  EXPECT_EQ(world_->status(world_.at("a"))->permissions, 0600U);
  for (const std::uint32_t permissions : {0400U, 0644U, 0755U}) {
    world_.setPermissions("a", permissions);
    world_.put("a", "2");
    EXPECT_EQ(world_->status(world_.at("a"))->permissions, permissions);
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

TEST_P(FileSystemContract, StatusIsOfTheItemItself) {
  world_.makeFolder("folder");
  world_.put("file", "12345");
  world_.link("file", "link");
  const auto folder = world_->status(world_.at("folder"));
  const auto file = world_->status(world_.at("file"));
  const auto link = world_->status(world_.at("link"));
  ASSERT_TRUE(folder && file && link);
  EXPECT_EQ(folder->kind, FileKind::Directory);
  EXPECT_EQ(folder->permissions, 0700U);
  EXPECT_EQ(file->kind, FileKind::Regular);
  EXPECT_EQ(file->size, 5U);
  EXPECT_GE(file->modified.secondsSince1970, 1.6e9);
  EXPECT_LE(file->created, file->modified);
  EXPECT_EQ(link->kind, FileKind::SymbolicLink);
  EXPECT_EQ(link->size, 4U);
}

TEST_P(FileSystemContract, ExistenceFollowsLinks) {
  world_.makeFolder("folder");
  world_.put("file", "");
  world_.link("folder", "toFolder");
  world_.link("file", "toFile");
  world_.link("nowhere", "dangling");
  world_.link("loop", "loop");
  const struct {
    const char* name;
    bool exists;
    bool isDirectory;
  } kCases[] = {{"folder", true, true},    {"folder/", true, true},     {"file", true, false},
                {"file/", false, false},   {"toFolder", true, true},    {"toFolder/", true, true},
                {"toFile", true, false},   {"dangling", false, false},  {"loop", false, false},
                {"missing", false, false}, {"missing/x", false, false}, {"file/x", false, false},
                {"folder/..", true, true}};
  for (const auto& c : kCases) {
    EXPECT_EQ(world_->exists(world_.at(c.name)), c.exists) << c.name;
    EXPECT_EQ(world_->isDirectory(world_.at(c.name)), c.isDirectory) << c.name;
  }
}

TEST_P(FileSystemContract, DirectoriesAreMadeWithTheirParentsAndOnlyOnce) {
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("a/b//c/"))), 0);
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("a/b/c"))), 0);
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("a/../d"))), 0);
  EXPECT_THAT(world_.tree(), ElementsAre("a/", "a/b/", "a/b/c/", "d/"));
  EXPECT_EQ(world_->status(world_.at("a"))->permissions, 0700U);
  world_.put("file", "x");
  world_.link("a", "toFolder");
  world_.link("nowhere", "dangling");
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("file"))), EEXIST);
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("file/x"))), ENOTDIR);
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("toFolder"))), 0);
  EXPECT_EQ(codeOf(world_->createDirectories(world_.at("dangling"))), EEXIST);
  EXPECT_EQ(codeOf(world_->createDirectories("/")), 0);
}

TEST_P(FileSystemContract, RemoveNeverFollowsALink) {
  world_.makeFolder("outside/inner");
  world_.put("outside/precious", "kept");
  world_.makeFolder("tree/sub");
  world_.put("tree/sub/file", "x");
  world_.put("tree/.hidden", "x");
  world_.link(world_.at("outside"), "tree/toFolder");
  world_.link("../../outside", "tree/sub/toFolder");
  world_.link(world_.at("outside/precious"), "tree/toFile");
  world_.link("outside", "link");
  EXPECT_EQ(codeOf(world_->remove(world_.at("tree"))), 0);
  EXPECT_EQ(codeOf(world_->remove(world_.at("link/"))), ENOTDIR);
  EXPECT_EQ(codeOf(world_->remove(world_.at("link"))), 0);
  EXPECT_THAT(world_.tree(), ElementsAre("outside/", "outside/inner/", "outside/precious=kept"));
}

TEST_P(FileSystemContract, RemoveRefusesWhatHasNoNameOfItsOwn) {
  world_.makeFolder("a/b");
  for (const char* name : {"a/.", "a/..", "a/b/..", "a/b/../"})
    EXPECT_EQ(codeOf(world_->remove(world_.at(name))), EINVAL) << name;
  EXPECT_EQ(codeOf(world_->remove("/")), EBUSY);
  EXPECT_EQ(codeOf(world_->remove(world_.at("none"))), ENOENT);
  EXPECT_THAT(world_.tree(), ElementsAre("a/", "a/b/"));
}

TEST_P(FileSystemContract, MoveAndCopyNeverReplaceAnything) {
  world_.makeFolder("folder");
  world_.makeFolder("empty");
  world_.put("file", "1");
  world_.put("other", "2");
  world_.link("nowhere", "dangling");
  const auto before = world_.tree();
  for (const char* from : {"file", "folder", "dangling"})
    for (const char* to : {"file", "other", "folder", "empty", "dangling", "."}) {
      EXPECT_EQ(codeOf(world_->move(world_.at(from), world_.at(to))), EEXIST) << from << to;
      EXPECT_EQ(codeOf(world_->copy(world_.at(from), world_.at(to))), EEXIST) << from << to;
    }
  EXPECT_EQ(world_.tree(), before);
}

TEST_P(FileSystemContract, MoveKeepsContentAndPermissions) {
  world_.makeFolder("a/b");
  world_.put("a/b/file", "1");
  world_.setPermissions("a/b/file", 0640);
  EXPECT_EQ(codeOf(world_->move(world_.at("a/b"), world_.at("c"))), 0);
  EXPECT_EQ(codeOf(world_->move(world_.at("c/file"), world_.at("a/moved"))), 0);
  EXPECT_THAT(world_.tree(), ElementsAre("a/", "a/moved=1", "c/"));
  EXPECT_EQ(world_->status(world_.at("a/moved"))->permissions, 0640U);
  EXPECT_EQ(codeOf(world_->move(world_.at("a"), world_.at("a/inside"))), EINVAL);
  EXPECT_EQ(codeOf(world_->move(world_.at("none"), world_.at("x"))), ENOENT);
  EXPECT_EQ(codeOf(world_->move(world_.at("c"), world_.at("none/x"))), ENOENT);
}

TEST_P(FileSystemContract, CopyTakesTheWholeTreeWithLinksAsLinks) {
  world_.makeFolder("from/sub/empty");
  world_.put("from/sub/file", "1");
  world_.put("from/.hidden", std::string(200'000, 'x'));
  world_.setPermissions("from/sub/file", 0444);
  world_.setPermissions("from/sub", 0750);
  world_.link("nowhere", "from/sub/link");
  const auto before = world_->status(world_.at("from/sub/file"));
  EXPECT_EQ(codeOf(world_->copy(world_.at("from"), world_.at("to"))), 0);
  EXPECT_EQ(world_.tree("to/").size(), world_.tree("from/").size());
  EXPECT_EQ(world_.text("to/sub/file"), "1");
  EXPECT_EQ(world_.text("to/.hidden"), world_.text("from/.hidden"));
  EXPECT_EQ(world_->status(world_.at("to/sub/link"))->kind, FileKind::SymbolicLink);
  EXPECT_EQ(world_->status(world_.at("to/sub/file"))->permissions, 0444U);
  EXPECT_EQ(world_->status(world_.at("to/sub/file"))->modified, before->modified);
  EXPECT_EQ(world_->status(world_.at("to/sub"))->permissions, 0750U);
  world_.put("to/sub/file", "2");
  EXPECT_EQ(world_.text("from/sub/file"), "1");
}

TEST_P(FileSystemContract, CopyOfAFolderIntoItselfIsRefused) {
  world_.makeFolder("a/b");
  for (const char* to : {"a/x", "a/b/x"})
    EXPECT_EQ(codeOf(world_->copy(world_.at("a"), world_.at(to))), EINVAL) << to;
  EXPECT_THAT(world_.tree(), ElementsAre("a/", "a/b/"));
}

TEST_P(FileSystemContract, ListShowsEveryChildAndNothingElse) {
  std::vector<std::string> names;
  world_.makeFolder("many");
  for (int i = 0; i < 1000; ++i) {
    names.push_back("a long name, so that they fill several buffers " + std::to_string(i));
    world_.makeFolder("many/" + names.back());
  }
  std::vector<std::string> listed;
  const auto entries = world_->list(world_.at("many"));
  for (const auto& entry : *entries)
    listed.push_back(entry.name);
  std::sort(names.begin(), names.end());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(listed, names);

  world_.put("file", "");
  world_.put(".hidden", "");
  world_.put("\xff\xfe", "");
  world_.link("many", "link");
  std::vector<std::pair<std::string, FileKind>> kinds;
  const auto children = world_->list(world_.root() + "/");
  for (const auto& entry : *children)
    kinds.emplace_back(entry.name, entry.kind);
  EXPECT_THAT(kinds, UnorderedElementsAre(std::pair("many", FileKind::Directory),
                                          std::pair("file", FileKind::Regular),
                                          std::pair(".hidden", FileKind::Regular),
                                          std::pair("\xff\xfe", FileKind::Regular),
                                          std::pair("link", FileKind::SymbolicLink)));
  EXPECT_EQ(codeOf(world_->list(world_.at("none"))), ENOENT);
  EXPECT_EQ(codeOf(world_->list(world_.at("file"))), ENOTDIR);
}

TEST_P(FileSystemContract, PathsAreNeverCutOrDecoded) {
  const std::string name255(255, 'n');
  for (const std::string& name :
       {std::string("100%25"), std::string("%@%s%n%"), name255, std::string("\xff\xc3"),
        std::string("a b\tc\n"), std::string("ünï\xf0\x9f\x98\x80")}) {
    world_.put(name, name);
    EXPECT_EQ(world_.text(name), name);
    EXPECT_EQ(codeOf(world_->remove(world_.at(name))), 0);
  }
  const struct {
    std::string path;
    int error;
  } kBad[] = {{"", ENOENT},
              {world_.at(std::string("cut\0here", 8)), EINVAL},
              {world_.at(std::string("\0", 1)), EINVAL},
              {world_.at(name255 + "n"), ENAMETOOLONG},
              {world_.at(std::string(5000, 'n')), ENAMETOOLONG},
              {world_.root() + std::string(5000, '/') + "x", ENAMETOOLONG}};
  for (const auto& [path, error] : kBad) {
    EXPECT_FALSE(world_->exists(path));
    EXPECT_FALSE(world_->isDirectory(path));
    EXPECT_EQ(codeOf(world_->status(path)), error);
    EXPECT_EQ(codeOf(world_->readFile(path)), error);
    EXPECT_EQ(codeOf(world_->list(path)), error);
    EXPECT_EQ(codeOf(world_->replaceFile(path, {})), error);
    EXPECT_EQ(codeOf(world_->createDirectories(path)), error);
    EXPECT_EQ(codeOf(world_->remove(path)), error);
    EXPECT_EQ(codeOf(world_->move(path, world_.at("x"))), error);
    EXPECT_EQ(codeOf(world_->copy(path, world_.at("x"))), error);
    world_.put("y", "1");
    EXPECT_EQ(codeOf(world_->move(world_.at("y"), path)), error);
    EXPECT_EQ(codeOf(world_->copy(world_.at("y"), path)), error);
    EXPECT_THAT(world_.tree(), ElementsAre("y=1"));
  }
}

// Every operation on every kind of path must do the same, or fail for the same reason, in both.

const char* const kPaths[] = {
    ".",
    "..",
    "/",
    "",
    "none",
    "none/",
    "none/x",
    "file",
    "file/",
    "file/x",
    "file/.",
    "file/..",
    "folder",
    "folder/",
    "folder/.",
    "folder/..",
    "folder/file",
    "folder/new",
    "folder/new/",
    "folder/none/x",
    "toFile",
    "toFile/",
    "toFile/x",
    "toFolder",
    "toFolder/",
    "toFolder/file",
    "toFolder/new",
    "dangling",
    "dangling/",
    "dangling/x",
    "loop",
    "loop/",
    "loop/x",
    "//folder//file",
    "folder/../file",
    "none/../file",
    "toFolder/..",
    "toFolder/../file",
    "./file",
    "folder/deep/deeper",
    "absolute",
    "absolute/file",
};

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
    {"exists", [](const FileWorld& w, const std::string& p) { return int{w->exists(p)}; }},
    {"isDirectory",
     [](const FileWorld& w, const std::string& p) { return int{w->isDirectory(p)}; }},
    {"status", [](const FileWorld& w, const std::string& p) { return codeOf(w->status(p)); }},
    {"readFile", [](const FileWorld& w, const std::string& p) { return codeOf(w->readFile(p)); }},
    {"list", [](const FileWorld& w, const std::string& p) { return codeOf(w->list(p)); }},
    {"replaceFile", [](const FileWorld& w,
                       const std::string& p) { return codeOf(w->replaceFile(p, bytesOf("new"))); }},
    {"createDirectories",
     [](const FileWorld& w, const std::string& p) { return codeOf(w->createDirectories(p)); }},
    {"remove", [](const FileWorld& w, const std::string& p) { return codeOf(w->remove(p)); }},
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
  for (const auto& [operation, run] : kOperations)
    for (const std::string path : kPaths)
      twins.expectAlike(
          [&, run = run](const FileWorld& world) { return run(world, world.at("w/" + path)); },
          std::string(operation) + ' ' + path);
}

TEST(FileSystemEquality, EachMoveAndCopyEndsAlike) {
  Twins twins;
  for (const std::string from : kPaths)
    for (const std::string to : kPaths) {
      const auto paths = [&](const FileWorld& w) {
        return std::pair(w.at("w/" + from), w.at("w/" + to));
      };
      twins.expectAlike(
          [&](const FileWorld& w) { return codeOf(w->move(paths(w).first, paths(w).second)); },
          "move " + from + " to " + to);
      twins.expectAlike(
          [&](const FileWorld& w) { return codeOf(w->copy(paths(w).first, paths(w).second)); },
          "copy " + from + " to " + to);
    }
}

}  // namespace
}  // namespace kelm::test
