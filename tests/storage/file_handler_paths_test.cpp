#include <sstream>

#include "kelm/base/utf16.h"
#include "tests/storage/storage_fixture.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(OddPaths, EveryByteButNulAndSlashIsANameLikeAnyOther) {
  StorageFixture f;
  std::vector<std::string> names{"a b", " ", "a\nb", std::string(255, 'n')};
  std::istringstream others(
      "100% %41 %2F %00 caf\xC3\xA9 \xFF\xFE \xC3 e\xCC\x81 \xED\xA0\x80 \xF0\x9F\x98\x80 ?query "
      "#fragment a:b c:\\d * ~ $HOME `id` ' \" a;b a&b=c [x] {x} -rf a..b x. \x01\x02 %@ %s%n");
  for (std::string name; others >> name;)
    names.push_back(name);
  for (const std::string& name : names) {
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

TEST(OddPaths, OnesThatLeadNowhereFailWithoutATrace) {
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

}  // namespace
}  // namespace kelm::test
