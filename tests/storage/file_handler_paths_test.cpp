#include <sstream>

#include "kelm/base/utf16.h"
#include "kelm/platform/linux/services.h"
#include "tests/storage/storage_fixture.h"
#include "tests/support/temporary_folder.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Odd names on the file system of the machine.
class OddPaths : public ::testing::Test {
 protected:
  platform::Platform onDisk() const {
    platform::Platform platform = fixture_.services.platform();
    platform.fileSystem = platform::makeFileSystem();
    platform.fileAttributes = platform::makeFileAttributes();
    return platform;
  }

  StorageFixture fixture_;
  platform::ScopedPlatform real_{onDisk()};
  TemporaryFolder folder_;
  VaspFileHandler handler_;
};

TEST_F(OddPaths, EveryByteButNulAndSlashIsANameLikeAnyOther) {
  std::vector<std::string> names{"a b", " ", "a\nb", "a\tb", std::string(255, 'n')};
  std::istringstream others(
      "100% %41 %2F %00 % %zz caf\xC3\xA9 caf\xE9 \xFF\xFE \xC3 e\xCC\x81 \xED\xA0\x80 "
      "\xF0\x9F\x98\x80 ?query #fragment a:b c:\\d a\\b * ~ $HOME `id` ' \" <> a;b a&b=c [x] "
      "{x} -rf a..b ... x. \x01\x02 \x7F %@ %s%n file: http:");
  for (std::string name; others >> name;)
    names.push_back(name);
  for (const std::string& name : names) {
    const std::string folder = folder_ / (name == "..." ? "dots" : name);
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

TEST_F(OddPaths, OnesThatLeadNowhereFailWithoutATrace) {
  const std::string file = folder_ / "a", nul = file + std::string(1, '\0');
  ASSERT_TRUE(handler_.storeNSString_withFullpath("x", file));
  const std::string paths[] = {nul,
                               nul + "b",
                               nul + "/b",
                               file + "/b",
                               file + "/",
                               folder_ / std::string(256, 'n'),
                               folder_ / std::string(5000, 'n'),
                               folder_ / (std::string(5000, '/') + "a")};
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
    EXPECT_FALSE(handler_.moveFolderFromFullpath_toFullpath(file, path));
    EXPECT_FALSE(handler_.moveFolderFromFullpath_toFullpath(path, folder_ / "b"));
  }
  EXPECT_EQ(handler_.readNSStringWithFullpath(file), "x");
  EXPECT_THAT(handler_.listFilesInHandlerFullPath(folder_.path()), ElementsAre(file));
}

}  // namespace
}  // namespace kelm::test
