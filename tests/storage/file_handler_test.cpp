#include <cerrno>

#include "kelm/base/utf16.h"
#include "tests/storage/storage_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;

TEST(VaspFileHandlerStore, MakesParentsWithAttributesAndReplacesFilesAndFolders) {
  StorageFixture f;
  EXPECT_TRUE(f.handler.storeNSData_withFullpath(bytesOf("old and longer"), "/r/a/b/c.bin"));
  for (const char* path : {"/r/a", "/r/a/b", "/r/a/b/c.bin"})
    EXPECT_TRUE(f.hasGlobalAttributes(path)) << path;
  EXPECT_FALSE(f.hasGlobalAttributes("/r"));
  for (const char* path : {"/r/a/b/c.bin", "/r/a/b"}) {
    EXPECT_TRUE(f.handler.storeNSData_withFullpath(bytesOf("new"), path));
    EXPECT_EQ(f.text(path), "new");
  }
  EXPECT_THAT(f.log.lines(), ElementsAre("DEBUG Creating directory path:/r/a/b/c.bin"));
}

TEST(VaspFileHandlerStore, RefusedAttributesFailTheStoreButLeaveTheBytes) {
  StorageFixture f;
  f.attributes.failFromCall(1);
  EXPECT_FALSE(f.handler.storeNSData_toPath(bytesOf("x"), "/r/a"));
  EXPECT_EQ(f.text("/r/a"), "x");
  EXPECT_THAT(f.lines(),
              ElementsAre(StartsWith("WARN Error changing exclude backup attribute: Error Domain"),
                          "WARN Error global kelm attributes",
                          "ERROR Error storing data : (null) in /r/a"));
}

TEST(VaspFileHandlerRead, TellsMissingUnreadableEmptyAndMalformedApart) {
  StorageFixture f;
  f.put("/r/empty", "");
  f.put("/r/latin1", "caf\xE9");
  f.put("/r/folder/utf8", "caf\xC3\xA9");
  EXPECT_EQ(f.handler.readNSDataWithFullpath("/r/missing"), std::nullopt);
  EXPECT_THAT(f.handler.readNSDataWithFullpath("/r/empty"), Optional(IsEmpty()));
  EXPECT_EQ(f.handler.readNSStringWithFullpath("/r/folder/utf8"), "caf\xC3\xA9");
  EXPECT_EQ(f.handler.readNSStringWithFullpath("/r/latin1"), std::nullopt);
  EXPECT_EQ(f.handler.readNSDataWithFullpath("/r/folder"), std::nullopt);
  EXPECT_THAT(f.log.lines(),
              ElementsAre("WARN Error reading data : " + errorText(EISDIR, "/r/folder")));
}

TEST(VaspFileHandlerAttributes, AreThoseOfTheItem) {
  StorageFixture f;
  ASSERT_TRUE(f.handler.storeNSData_withFullpath(bytesOf("12345"), "/r/folder/a"));
  const auto file = f.handler.getAttributesOfFullpath("/r/folder/a");
  ASSERT_TRUE(file);
  const auto touched = f.handler.getLastTouchDateOfFullpath("/r/folder/a");
  EXPECT_EQ(describe(file),
            describe(Dictionary{
                {"NSFileType", "NSFileTypeRegular"},
                {"NSFileSize", 5},
                {"NSFilePosixPermissions", 0600},
                {"NSFileOwnerAccountID", 0},
                {"NSFileGroupOwnerAccountID", 0},
                {"NSFileModificationDate", *touched},
                {"NSFileCreationDate", *touched},
                {"NSFileProtectionKey", NSFileProtectionCompleteUntilFirstUserAuthentication}}));
  const auto folder = f.handler.getAttributesOfFullpath("/r");
  EXPECT_EQ(*folder->find("NSFileType"), Value("NSFileTypeDirectory"));
  EXPECT_FALSE(folder->contains("NSFileProtectionKey"));
  EXPECT_EQ(f.handler.getAttributesOfFullpath("/r/missing"), std::nullopt);
  EXPECT_THAT(f.lines(), ElementsAre("WARN Cant read attributes of file /r/missing"));
}

TEST(VaspFileHandlerPaths, EmptyAndAbsentOnesAreRefusedSilentlyAndAbsentDataOnlyBelowWithALine) {
  StorageFixture f;
  for (const VaspFileHandler::Path path : {VaspFileHandler::Path(""), VaspFileHandler::Path()}) {
    EXPECT_FALSE(f.handler.existsFullPath(path));
    EXPECT_EQ(f.handler.getLastTouchDateOfFullpath(path), std::nullopt);
    EXPECT_FALSE(f.handler.setAttributeDataProtection_toFullpath("class", path));
    EXPECT_FALSE(f.handler.setAttributeDataProtection_toFullpath(path, "/r"));
    EXPECT_FALSE(f.handler.setExcludeBackupAttributeToFullpath(path));
    EXPECT_FALSE(f.handler.storeNSData_withFullpath(bytesOf("x"), path));
    EXPECT_EQ(f.handler.readNSDataWithFullpath(path), std::nullopt);
    EXPECT_EQ(f.handler.readNSCodableObjectWithFullpath(path), std::nullopt);
    EXPECT_TRUE(f.handler.ensureFullPathExists_andClearFiles(path, true));
    EXPECT_FALSE(f.handler.removeFileWithFullPath(path));
    EXPECT_FALSE(f.handler.removeFolderInFullPath(path));
    EXPECT_TRUE(f.handler.emptyFullPath_includingSubFolders(path, true));
    EXPECT_THAT(f.handler.searchFilesInFullPath_withFilenameContaining(path, ""), IsEmpty());
    EXPECT_FALSE(f.handler.moveFolderFromFullpath_toFullpath(path, "/r/x"));
    EXPECT_FALSE(f.handler.moveFileWithFullPath_toDestFullPath("/r/x", path));
    EXPECT_FALSE(f.handler.copyFileWithFullPath_toDestFullPath(path, "/r/x"));
  }
  EXPECT_EQ(f.handler.listFoldersInHandlerFullPath(std::nullopt), std::nullopt);
  EXPECT_FALSE(f.handler.storeNSData_withFullpath(std::nullopt, "/r/a"));
  EXPECT_THAT(f.log.lines(), IsEmpty());
  EXPECT_FALSE(f.handler.storeNSData_toPath(std::nullopt, "/r/a"));
  EXPECT_THAT(f.log.lines(), ElementsAre("WARN No data to store in : /r/a"));
  EXPECT_THAT(f.tree("/r"), IsEmpty());
}

TEST(VaspFileHandlerPaths, EveryByteButNulAndSlashIsANameLikeAnyOther) {
  StorageFixture f;
  for (const std::string& name :
       {std::string("a\nb "), std::string("%2F%00%@%s%n"), std::string("e\xCC\x81"),
        std::string("\xC3"), std::string("\xED\xA0\x80"), std::string("?q#f:c:\\*~$H`id`'\";&=[x]"),
        std::string("-rf"), std::string("a..b"), std::string("\x01"), std::string(255, 'n')}) {
    const std::string folder = "/r/" + name, path = folder + "/" + name;
    ASSERT_TRUE(f.handler.storeNSString_withFullpath(name, path)) << name;
    EXPECT_EQ(f.handler.readNSStringWithFullpath(path).has_value(), isValidUtf8(name)) << name;
    EXPECT_EQ(f.handler.readNSDataWithFullpath(path), dataOf(name));
    EXPECT_THAT(f.handler.searchFilesInFullPath_withFilenameContaining(folder, name),
                ElementsAre(path));
    EXPECT_TRUE(f.handler.emptyFullPath_includingSubFolders(folder, true));
    EXPECT_THAT(f.handler.listFilesInHandlerFullPath(folder), IsEmpty());
  }
}

TEST(VaspFileHandlerPaths, OnesThatLeadNowhereFailWithoutATrace) {
  StorageFixture f;
  const std::string file = "/r/a", nul = file + std::string(1, '\0');
  f.put(file, "x");
  for (const std::string& path :
       {nul + "b", nul + "/b", file + "/b", file + "/", "/r/" + std::string(256, 'n'),
        "/r/" + std::string(5000, '/') + "a"}) {
    EXPECT_FALSE(f.handler.storeNSString_withFullpath("y", path)) << path;
    EXPECT_FALSE(f.handler.existsFullPath(path)) << path;
    EXPECT_EQ(f.handler.readNSDataWithFullpath(path), std::nullopt);
    EXPECT_EQ(f.handler.getAttributesOfFullpath(path), std::nullopt);
    EXPECT_FALSE(f.handler.setGlobalAttributesToFullpath(path));
    EXPECT_TRUE(f.handler.removeFileWithFullPath(path));
    EXPECT_EQ(f.handler.listFoldersInHandlerFullPath(path), std::nullopt);
    EXPECT_FALSE(f.handler.emptyFullPath_includingSubFolders(path, true));
    EXPECT_FALSE(f.handler.moveFolderFromFullpath_toFullpath(file, path));
    EXPECT_FALSE(f.handler.moveFolderFromFullpath_toFullpath(path, "/r/b"));
  }
  EXPECT_EQ(f.text(file), "x");
  EXPECT_THAT(f.tree("/r"), ElementsAre(file));
}

TEST(VaspFileHandlerEnsure, MakesClearsOrKeeps) {
  StorageFixture f;
  EXPECT_TRUE(f.handler.ensureFullPathExists_andClearFiles("/r/a/b", false));
  EXPECT_TRUE(f.hasGlobalAttributes("/r/a") && f.hasGlobalAttributes("/r/a/b"));
  for (const char* path : {"/r/a/file", "/r/a/.hidden", "/r/a/b/deep"})
    f.put(path, "x");
  EXPECT_TRUE(f.handler.ensureFullPathExists_andClearFiles("/r/a", false));
  EXPECT_TRUE(f.files.exists("/r/a/file"));
  EXPECT_TRUE(f.handler.ensureFullPathExists_andClearFiles("/r/a", true));
  EXPECT_THAT(f.tree("/r/a"), ElementsAre("/r/a/.hidden", "/r/a/b/", "/r/a/b/deep"));
  EXPECT_THAT(f.log.lines(), ElementsAre("DEBUG Creating directory path:/r/a/b",
                                         "DEBUG Clearing directory path (ensure and clear):/r/a"));
  const auto records = f.log.records();
  EXPECT_EQ(records[0].aspect, 0x1000);
  EXPECT_EQ(records[0].source, "-[VaspFileHandler ensureFullPathExists:andClearFiles:]");
}

TEST(VaspFileHandlerEmpty, ShallowTakesVisibleFilesDeepFoldersTooAndWhatStaysIsNamed) {
  for (const bool deep : {false, true}) {
    StorageFixture f;
    for (const char* path : {"/r/a/file", "/r/a/.hidden", "/r/a/sub/.inside", "/r/a/.sub/inside"})
      f.put(path, "x");
    EXPECT_TRUE(f.handler.emptyFullPath_includingSubFolders("/r/a", deep));
    std::vector<std::string> left{"/r/a/.hidden", "/r/a/.sub/", "/r/a/.sub/inside"};
    if (!deep) left.insert(left.end(), {"/r/a/sub/", "/r/a/sub/.inside"});
    EXPECT_EQ(f.tree("/r/a"), left);
    EXPECT_THAT(f.log.lines(), IsEmpty());
    f.put("/r/b/1", "x");
    f.put("/r/b/2", "x");
    f.files.failCall(3);  // exists, list, remove
    EXPECT_TRUE(f.handler.emptyFullPath_includingSubFolders("/r/b", deep));
    EXPECT_EQ(f.tree("/r/b").size(), 1U);
    EXPECT_THAT(f.log.lines(),
                ElementsAre(StartsWith(deep ? "WARN Cant removeItemAtPath, skipping: Error"
                                            : "WARN Cant removeItemAtPath 1, skipping: Error")));
  }
}

TEST(VaspFileHandlerSearch, FiltersByTheWholePathAndSkipsFoldersAndHiddenItems) {
  StorageFixture f;
  for (const char* path : {"/r/a/one.txt", "/r/a/two.dat", "/r/a/.hidden", "/r/a/sub/one.txt"})
    f.put(path, "x");
  const auto search = [&](const char* folder, VaspFileHandler::Path filter) {
    auto found = f.handler.searchFilesInFullPath_withFilenameContaining(folder, filter);
    std::sort(found.begin(), found.end());
    return found;
  };
  for (const auto all : {VaspFileHandler::Path(), {""}, {"/r/"}})
    EXPECT_THAT(search("/r/a", all), ElementsAre("/r/a/one.txt", "/r/a/two.dat"));
  EXPECT_THAT(search("/r/a", "one"), ElementsAre("/r/a/one.txt"));
  EXPECT_THAT(search("/r/a", "ONE"), IsEmpty());
  EXPECT_THAT(search("/r/none", ""), IsEmpty());
  EXPECT_THAT(f.log.lines(), ElementsAre("WARN Error " + errorText(ENOENT, "/r/none") +
                                         " in file listing:\n/r/none"));
  const auto record = f.log.records().at(0);
  EXPECT_EQ(record.aspect, 0x201000);
  EXPECT_EQ(record.source, "-[VaspFileHandler searchFilesInFullPath:withFilenameContaining:]");
}

TEST(VaspFileHandlerCodable, ObjectThatRaisesWhileItIsArchivedIsAFailedStoreWithALine) {
  struct Raising : Archivable {
    std::string archiveClassName() const override { return "Raising"; }
    void encodeWith(KeyedEncoder&) const override { throw std::runtime_error("no ink"); }
  };
  StorageFixture f;
  f.put("/r/f", "old");
  EXPECT_FALSE(f.handler.storeNSCodableObject_withFullPath(
      Value(ObjectPointer(std::make_shared<Raising>())), "/r/f"));
  EXPECT_EQ(f.text("/r/f"), "old");
  EXPECT_THAT(f.lines(), ::testing::ElementsAre("WARN Cant archive object: no ink"));
}

}  // namespace
}  // namespace kelm::testing
