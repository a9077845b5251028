#include <cerrno>

#include "kelm/base/utf16.h"
#include "kelm/platform/linux/services.h"
#include "tests/storage/storage_fixture.h"
#include "tests/support/temporary_folder.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Odd names on both file systems: the one in memory and the real one.
class OddPaths : public ::testing::TestWithParam<bool> {
 protected:
  OddPaths() {
    if (!GetParam()) return;
    platform::Platform platform = fixture_.services.platform();
    platform.fileSystem = platform::makeFileSystem();
    platform.fileAttributes = platform::makeFileAttributes();
    real_.emplace(std::move(platform));
    root_ = folder_.path();
  }

  StorageFixture fixture_;
  TemporaryFolder folder_;
  std::optional<platform::ScopedPlatform> real_;
  std::string root_ = "/r";
  VaspFileHandler handler_;
};

INSTANTIATE_TEST_SUITE_P(VaspFileHandler, OddPaths, ::testing::Values(false, true),
                         [](const auto& row) { return row.param ? "OnDisk" : "InMemory"; });

TEST_P(OddPaths, EveryByteButNulAndSlashIsANameLikeAnyOther) {
  std::vector<std::string> names = {"100%",
                                    "%41",
                                    "%2F",
                                    "%00",
                                    "%",
                                    "%%",
                                    "%zz",
                                    "a b",
                                    " ",
                                    "a\nb",
                                    "a\tb",
                                    "caf\xC3\xA9",
                                    "caf\xE9",
                                    "\xFF\xFE",
                                    "\xC3",
                                    "?query",
                                    "#fragment",
                                    "a:b",
                                    "c:\\d",
                                    "a\\b",
                                    "*",
                                    "~",
                                    "$HOME",
                                    "`id`",
                                    "'",
                                    "\"",
                                    "<>",
                                    "a;b",
                                    "a&b=c",
                                    "[x]",
                                    "{x}",
                                    "-rf",
                                    "--",
                                    "a..b",
                                    "...",
                                    "x.",
                                    "\xF0\x9F\x98\x80",
                                    "\xED\xA0\x80",
                                    "\x01\x02",
                                    "\x7F",
                                    "%@",
                                    "%s%n",
                                    std::string(255, 'n'),
                                    "file:",
                                    "http:",
                                    "e\xCC\x81"};
  for (const std::string& name : names) {
    const std::string folder = root_ + "/" + (name == "..." ? "dots" : name);
    const std::string path = folder + "/" + (name.front() == '.' ? "v" + name : name);
    ASSERT_TRUE(handler_.storeNSString_withFullpath(name, path)) << name;
    EXPECT_EQ(handler_.readNSStringWithFullpath(path).has_value(), isValidUtf8(name)) << name;
    EXPECT_EQ(handler_.readNSDataWithFullpath(path), dataOf(name));
    EXPECT_THAT(handler_.listFilesInHandlerFullPath(folder), ElementsAre(path));
    EXPECT_THAT(handler_.searchFilesInFullPath_withFilenameContaining(folder, name),
                ElementsAre(path));
    EXPECT_TRUE(handler_.emptyFullPath_includingSubFolders(folder, true));
    EXPECT_THAT(handler_.listFilesInHandlerFullPath(folder), IsEmpty());
    EXPECT_TRUE(handler_.removeFolderInFullPath(folder));
  }
}

TEST_P(OddPaths, OnesThatLeadNowhereFailWithoutATrace) {
  ASSERT_TRUE(handler_.storeNSString_withFullpath("x", root_ + "/a"));
  const std::string nul = root_ + "/a" + std::string(1, '\0');
  const std::string paths[] = {nul,
                               nul + "b",
                               nul + "/b",
                               root_ + "/" + std::string(256, 'n'),
                               root_ + "/" + std::string(5000, 'n'),
                               root_ + std::string(5000, '/') + "a",
                               root_ + "/a/b",
                               root_ + "/a/"};
  for (const std::string& path : paths) {
    EXPECT_FALSE(handler_.storeNSString_withFullpath("y", path)) << path;
    EXPECT_FALSE(handler_.existsFullPath(path)) << path;
    EXPECT_EQ(handler_.readNSDataWithFullpath(path), std::nullopt);
    EXPECT_EQ(handler_.getAttributesOfFullpath(path), std::nullopt);
    EXPECT_FALSE(handler_.setGlobalAttributesToFullpath(path));
    EXPECT_TRUE(handler_.removeFileWithFullPath(path));
    EXPECT_THAT(handler_.listFilesInHandlerFullPath(path), IsEmpty());
    EXPECT_EQ(handler_.listFoldersInHandlerFullPath(path), std::nullopt);
    EXPECT_THAT(handler_.searchFilesInFullPath_withFilenameContaining(path, ""), IsEmpty());
    EXPECT_FALSE(handler_.emptyFullPath_includingSubFolders(path, true));
    EXPECT_FALSE(handler_.moveFolderFromFullpath_toFullpath(root_ + "/a", path));
    EXPECT_FALSE(handler_.moveFolderFromFullpath_toFullpath(path, root_ + "/b"));
  }
  EXPECT_EQ(handler_.readNSStringWithFullpath(root_ + "/a"), "x");
  EXPECT_THAT(handler_.listFilesInHandlerFullPath(root_), ElementsAre(root_ + "/a"));
}

}  // namespace
}  // namespace kelm::test
