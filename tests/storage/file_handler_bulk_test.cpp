#include <cerrno>

#include "tests/storage/storage_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

TEST(VaspFileHandlerList, NamesFilesAndFoldersApartAndLogsWhatIsNoFolder) {
  StorageFixture f;
  for (const char* path : {"/r/file", "/r/.hidden", "/r/sub/inside", "/r/.sub/inside"})
    f.put(path, "x");
  EXPECT_THAT(f.handler.listFilesInHandlerFullPath("/r"), ElementsAre("/r/file"));
  EXPECT_THAT(f.handler.listFilesInBundleFullpath("/r/"), ElementsAre("/r/file"));
  EXPECT_THAT(f.handler.listFoldersInHandlerFullPath("/r"),
              Optional(UnorderedElementsAre("/r/sub", "/r/.sub")));
  EXPECT_THAT(f.handler.listFoldersInHandlerFullPath("/r/sub"), Optional(IsEmpty()));
  const std::string error = errorText(ENOTDIR, "/r/file");
  EXPECT_THAT(f.handler.listFilesInHandlerFullPath("/r/file"), IsEmpty());
  EXPECT_EQ(f.handler.listFoldersInHandlerFullPath("/r/file"), std::nullopt);
  EXPECT_THAT(f.log.lines(),
              ElementsAre("WARN Error " + error + " in file listing:\n/r/file",
                          "ERROR Errore listFoldersInHandlerFullPath (null) - " + error));
}

TEST(VaspFileHandlerMove, AndCopyReplaceTheDestinationAndMakeItsParents) {
  for (const bool copies : {false, true}) {
    StorageFixture f;
    const auto transfer = copies ? &VaspFileHandler::copyFileWithFullPath_toDestFullPath
                                 : &VaspFileHandler::moveFileWithFullPath_toDestFullPath;
    f.put("/r/a", "new");
    f.put("/r/b", "old");
    EXPECT_TRUE((f.handler.*transfer)("/r/a", "/r/b"));
    EXPECT_TRUE((f.handler.*transfer)("/r/b", "/r/x/y/c"));
    std::vector<std::string> expected{"/r/x/", "/r/x/y/", "/r/x/y/c"};
    if (copies) expected.insert(expected.begin(), {"/r/a", "/r/b"});
    EXPECT_EQ(f.tree("/r"), expected);
    EXPECT_EQ(f.text("/r/x/y/c"), "new");
    EXPECT_TRUE(f.hasGlobalAttributes("/r/x/y/c"));
    EXPECT_THAT(f.log.lines(), ElementsAre(copies ? "DEBUG Creating directory path:/r/x/y"
                                                  : "DEBUG Creating directory path:/r/x/y/c"));
  }
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
  for (const char* destination : {"/r/a/file", "/r//a/./file", "/r/a/file/", "/r/a", "/r/a/."}) {
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
    for (const char* path : {"/r/s/1", "/r/s/.2", "/r/s/sub/3"})
      put(path, "new");
    for (const char* path : {"/r/d/1", "/r/d/sub/4"})
      put(path, "old");
  }
};

TEST(VaspFileHandlerContents, FilesOnlyLeavesFoldersBehindAndOverwritesFiles) {
  Contents moved;
  EXPECT_TRUE(moved.handler.moveContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d"));
  EXPECT_THAT(moved.tree("/r"), ElementsAre("/r/d/", "/r/d/.2", "/r/d/1", "/r/d/sub/", "/r/d/sub/4",
                                            "/r/s/", "/r/s/sub/", "/r/s/sub/3"));
  EXPECT_EQ(moved.text("/r/d/1"), "new");
  Contents copied;
  EXPECT_TRUE(copied.handler.copyContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/n"));
  EXPECT_EQ(copied.text("/r/s/1") + copied.text("/r/n/1"), "newnew");
  EXPECT_THAT(copied.tree("/r/n"), ElementsAre("/r/n/.2", "/r/n/1"));
  EXPECT_FALSE(copied.hasGlobalAttributes("/r/n"));
}

TEST(VaspFileHandlerContents, WithFoldersReplacesEverythingAndLogsAMissingSource) {
  Contents f;
  const auto move = [&](const char* source, bool folders) {
    return f.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders(source, "/r/d",
                                                                               folders);
  };
  EXPECT_TRUE(move("/r/s", true));
  EXPECT_THAT(f.tree("/r"),
              ElementsAre("/r/d/", "/r/d/.2", "/r/d/1", "/r/d/sub/", "/r/d/sub/3", "/r/s/"));
  EXPECT_TRUE(move("/r/none", false));
  EXPECT_FALSE(move("/r/none", true));
  EXPECT_THAT(f.log.lines(), ElementsAre("ERROR Errore moveContentsOfSrcFullpath (null) - " +
                                         errorText(ENOENT, "/r/none")));
}

TEST(VaspFileHandlerContents, WithFoldersGoesOnAfterAFailureAndFilesOnlyStops) {
  for (const bool all : {true, false}) {
    Contents f;
    f.files.failFromCall(3);  // make, list, then nothing works
    (void)f.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/s", "/r/d", all);
    EXPECT_THAT(f.log.lines(), ::testing::Each(StartsWith("ERROR Errore removing ")));
    EXPECT_EQ(f.log.lines().size(), all ? 3U : 0U);
    f.files.stopFailing();
    EXPECT_EQ(f.text("/r/s/1") + f.text("/r/d/1"), "newold");
  }
}

TEST(VaspFileHandlerDump, ListsLocationsOfEveryFolderAndSkipsHiddenItems) {
  StorageFixture f;
  const platform::HomeFolders& folders = *f.services.homeFolders;
  f.put(folders.caches() + "/a b/c%.txt", "x");
  f.put(folders.caches() + "/.hidden/d", "x");
  f.put(folders.documents() + "/caf\xC3\xA9", "x");
  f.put(*folders.groupContainer("group.shop") + "/shared", "x");
  const std::string home = "file://" + folders.home();
  const Dictionary expected{
      {"cache", List{home + "/Caches/a%20b/", home + "/Caches/a%20b/c%25.txt"}},
      {"document", List{home + "/Documents/caf%C3%A9"}},
      {"appsupport", List{}},
      {"group.shop", List{"file:///groups/group.shop/shared"}},
      {"errors", List{"\nError: " + home + "/Library/Application%20Support/ -> " +
                      errorText(ENOENT, folders.applicationSupport())}},
  };
  EXPECT_EQ(describe(VaspFileHandler::dumpWithOption("group.shop")), describe(expected));
}

TEST(FileHandlerBulk, NothingIsLostWhereTheDestinationIsOrHoldsOrLiesInTheSource) {
  const struct {
    const char *source, *destination;
  } kRows[] = {{"/r/a/f", "/r/link/f"},
               {"/r/a/f", "/r/a/../a/f"},
               {"/r/a/f", "r/a/f"},
               {"/r/a/f", "/r/link/../a"},
               {"/r/a", "/r/link/f"}};
  for (const auto& row : kRows)
    for (const bool moves : {true, false}) {
      StorageFixture s;
      s.put("/r/a/f", "text");
      s.files.makeSymbolicLink("/r/a", "/r/link");
      EXPECT_FALSE(
          moves ? s.handler.moveFileWithFullPath_toDestFullPath(row.source, row.destination)
                : s.handler.copyFileWithFullPath_toDestFullPath(row.source, row.destination));
      EXPECT_EQ(s.text("/r/a/f"), "text") << row.destination;
    }
  StorageFixture s;
  s.put("/r/a/f", "text");
  s.files.makeSymbolicLink("/r/a", "/r/link");
  s.handler.copyContentsOfSrcFullpath_toDestFullpath("/r/a", "/r/link");
  s.handler.moveContentsOfSrcFullpath_toDestFullpath("/r/a", "/r/link");
  s.handler.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/a", "/r/link", true);
  EXPECT_EQ(s.text("/r/a/f"), "text");
}

}  // namespace
}  // namespace kelm::testing
