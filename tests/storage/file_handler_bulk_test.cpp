#include <cerrno>

#include "tests/storage/storage_fixture.h"
#include "tests/support/memory_home_folders.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

TEST(VaspFileHandlerList, NamesFilesAndFoldersApart) {
  StorageFixture f;
  f.put("/r/file", "x");
  f.put("/r/.hidden", "x");
  f.put("/r/sub/inside", "x");
  f.makeFolder("/r/.sub");
  EXPECT_THAT(f.handler.listFilesInHandlerFullPath("/r"), ElementsAre("/r/file"));
  EXPECT_THAT(f.handler.listFilesInBundleFullpath("/r/"), ElementsAre("/r/file"));
  EXPECT_THAT(f.handler.listFoldersInHandlerFullPath("/r"),
              Optional(UnorderedElementsAre("/r/sub", "/r/.sub")));
  EXPECT_THAT(f.handler.listFoldersInHandlerFullPath("/r/sub"), Optional(IsEmpty()));
  EXPECT_THAT(f.log.lines(), IsEmpty());
}

TEST(VaspFileHandlerList, UnreadableFolderIsLogged) {
  StorageFixture f;
  f.put("/r/file", "x");
  const std::string error = errorText(ENOTDIR, "/r/file");
  EXPECT_THAT(f.handler.listFilesInHandlerFullPath("/r/file"), IsEmpty());
  EXPECT_EQ(f.handler.listFoldersInHandlerFullPath("/r/file"), std::nullopt);
  EXPECT_THAT(f.log.lines(),
              ElementsAre("WARN Error " + error + " in file listing:\n/r/file",
                          "ERROR Errore listFoldersInHandlerFullPath (null) - " + error));
}

TEST(VaspFileHandlerMove, ReplacesTheDestinationAndMakesItsParents) {
  StorageFixture f;
  f.put("/r/a", "new");
  f.put("/r/b", "old");
  EXPECT_TRUE(f.handler.moveFileWithFullPath_toDestFullPath("/r/a", "/r/b"));
  EXPECT_TRUE(f.handler.moveFileWithFullPath_toDestFullPath("/r/b", "/r/x/y/c"));
  EXPECT_THAT(f.tree("/r"), ElementsAre("/r/x/", "/r/x/y/", "/r/x/y/c"));
  EXPECT_EQ(f.text("/r/x/y/c"), "new");
  EXPECT_TRUE(f.hasGlobalAttributes("/r/x/y/c"));
  EXPECT_THAT(f.log.lines(), ElementsAre("DEBUG Creating directory path:/r/x/y/c"));
}

TEST(VaspFileHandlerCopy, ReplacesTheDestinationAndMakesItsParents) {
  StorageFixture f;
  f.put("/r/a", "new");
  f.put("/r/b", "old");
  EXPECT_TRUE(f.handler.copyFileWithFullPath_toDestFullPath("/r/a", "/r/b"));
  EXPECT_TRUE(f.handler.copyFileWithFullPath_toDestFullPath("/r/b", "/r/x/y/c"));
  EXPECT_THAT(f.tree("/r"), ElementsAre("/r/a", "/r/b", "/r/x/", "/r/x/y/", "/r/x/y/c"));
  EXPECT_EQ(f.text("/r/b"), "new");
  EXPECT_EQ(f.text("/r/x/y/c"), "new");
  EXPECT_TRUE(f.hasGlobalAttributes("/r/x/y/c"));
  EXPECT_THAT(f.log.lines(), ElementsAre("DEBUG Creating directory path:/r/x/y"));
}

TEST(VaspFileHandlerMove, MissingSourceFailsWithTheMessageOfBoth) {
  StorageFixture f;
  EXPECT_FALSE(f.handler.moveFileWithFullPath_toDestFullPath("/r/none", "/r/b"));
  EXPECT_FALSE(f.handler.copyFileWithFullPath_toDestFullPath("/r/none", "/r/b"));
  EXPECT_FALSE(f.handler.moveFolderFromFullpath_toFullpath("/r/none", "/r/b"));
  EXPECT_THAT(f.lines(), ElementsAre(StartsWith("WARN Cant copyItemAtPath 1: Error Domain=posix"),
                                     StartsWith("WARN Cant copyItemAtPath 1: Error Domain=posix"),
                                     StartsWith("WARN Cant moveItemAtPath: Error Domain=posix")));
  EXPECT_THAT(f.tree("/r"), IsEmpty());
}

TEST(VaspFileHandlerMove, OntoItselfOrAFolderAroundItFailsAndLosesNothing) {
  const char* destinations[] = {"/r/a/file", "/r//a/./file", "/r/a/file/", "/r/a", "/r/a/.", "/r"};
  for (const char* destination : destinations) {
    StorageFixture f;
    f.put("/r/a/file", "precious");
    EXPECT_FALSE(f.handler.moveFileWithFullPath_toDestFullPath("/r/a/file", destination));
    EXPECT_FALSE(f.handler.copyFileWithFullPath_toDestFullPath("/r/a/file", destination));
    EXPECT_EQ(f.text("/r/a/file"), "precious") << destination;
    EXPECT_THAT(f.lines(), ::testing::Contains(HasSubstr("Cant copyItemAtPath 1")).Times(2));
  }
}

struct Contents : StorageFixture {
  Contents() {
    put("/r/s/1", "new");
    put("/r/s/.2", "new");
    put("/r/s/sub/3", "new");
    put("/r/d/1", "old");
    put("/r/d/sub/4", "old");
  }
};

TEST(VaspFileHandlerContents, FilesOnlyLeavesFoldersBehindAndOverwritesFiles) {
  Contents moved;
  EXPECT_TRUE(moved.handler.moveContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d"));
  EXPECT_THAT(moved.tree("/r"), ElementsAre("/r/d/", "/r/d/.2", "/r/d/1", "/r/d/sub/", "/r/d/sub/4",
                                            "/r/s/", "/r/s/sub/", "/r/s/sub/3"));
  EXPECT_EQ(moved.text("/r/d/1"), "new");
  Contents copied;
  EXPECT_TRUE(copied.handler.copyContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d/new"));
  EXPECT_EQ(copied.text("/r/s/1"), "new");
  EXPECT_EQ(copied.text("/r/d/new/1"), "new");
  EXPECT_EQ(copied.text("/r/d/new/.2"), "new");
  EXPECT_FALSE(copied.files.exists("/r/d/new/sub"));
  EXPECT_FALSE(copied.hasGlobalAttributes("/r/d/new"));
  EXPECT_THAT(copied.log.lines(), IsEmpty());
}

TEST(VaspFileHandlerContents, WithFoldersReplacesEverything) {
  Contents f;
  EXPECT_TRUE(
      f.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/s", "/r/d", true));
  EXPECT_THAT(f.tree("/r"),
              ElementsAre("/r/d/", "/r/d/.2", "/r/d/1", "/r/d/sub/", "/r/d/sub/3", "/r/s/"));
  EXPECT_FALSE(
      f.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/none", "/r/d", true));
  EXPECT_TRUE(f.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/none", "/r/d",
                                                                                  false));
  EXPECT_THAT(f.log.lines(), ElementsAre("ERROR Errore moveContentsOfSrcFullpath (null) - " +
                                         errorText(ENOENT, "/r/none")));
}

TEST(VaspFileHandlerContents, WithFoldersGoesOnAfterAFailureAndFilesOnlyStops) {
  Contents going;
  going.files.failFromCall(3);  // make, list, then nothing works
  EXPECT_FALSE(going.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders(
      "/r/s", "/r/d", true));
  EXPECT_THAT(going.log.lines(), ElementsAre(StartsWith("ERROR Errore removing "),
                                             StartsWith("ERROR Errore removing "),
                                             StartsWith("ERROR Errore removing ")));
  Contents stopping;
  stopping.files.failFromCall(3);
  stopping.handler.moveContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d");
  EXPECT_THAT(stopping.log.lines(), IsEmpty());
  for (Contents* f : {&going, &stopping}) {
    f->files.stopFailing();
    EXPECT_EQ(f->text("/r/s/1"), "new");
    EXPECT_EQ(f->text("/r/d/1"), "old");
  }
}

struct DumpFixture : StorageFixture {
  const platform::HomeFolders& folders = *services.homeFolders;
};

TEST(VaspFileHandlerDump, ListsLocationsOfEveryFolderAndSkipsHiddenItems) {
  DumpFixture f;
  f.put(f.folders.caches() + "/a b/c%.txt", "x");
  f.put(f.folders.caches() + "/.hidden/d", "x");
  f.put(f.folders.documents() + "/caf\xC3\xA9", "x");
  f.put(*f.folders.groupContainer("group.shop") + "/shared", "x");
  const std::string home = "file://" + f.folders.home();
  const Dictionary expected{
      {"cache", List{home + "/Caches/a%20b/", home + "/Caches/a%20b/c%25.txt"}},
      {"document", List{home + "/Documents/caf%C3%A9"}},
      {"appsupport", List{}},
      {"group.shop", List{"file:///groups/group.shop/shared"}},
      {"errors", List{"\nError: " + home + "/Library/Application%20Support/ -> " +
                      errorText(ENOENT, f.folders.applicationSupport())}},
  };
  EXPECT_EQ(describe(VaspFileHandler::dumpWithOption("group.shop")), describe(expected));
  EXPECT_THAT(f.log.lines(), IsEmpty());
}

struct ThrowingFolders : MemoryHomeFolders {
  std::string applicationSupport() const override { throw std::runtime_error("no home"); }
};

}  // namespace
}  // namespace kelm::test
