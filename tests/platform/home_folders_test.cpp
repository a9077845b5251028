#include "kelm/platform/home_folders.h"

#include <gtest/gtest.h>

#include <set>

#include "kelm/platform/linux/services.h"
#include "tests/platform/scoped_variable.h"
#include "tests/support/memory_bundle.h"
#include "tests/support/memory_home_folders.h"

namespace kelm::test {
namespace {

std::shared_ptr<platform::HomeFolders> ofTill() {
  return platform::makeHomeFolders(std::make_shared<MemoryBundle>());
}

class HomeFoldersContract
    : public testing::TestWithParam<std::shared_ptr<platform::HomeFolders> (*)()> {};
INSTANTIATE_TEST_SUITE_P(Each, HomeFoldersContract,
                         testing::Values(&ofTill, []() -> std::shared_ptr<platform::HomeFolders> {
                           return std::make_shared<MemoryHomeFolders>();
                         }));

TEST_P(HomeFoldersContract, FoldersAreAbsoluteDifferentAndWithoutSlashAtTheEnd) {
  const auto folders = GetParam()();
  std::set<std::string> all;
  for (const std::string& path :
       {folders->home(), folders->documents(), folders->caches(), folders->library(),
        folders->applicationSupport(), *folders->groupContainer("group.example")}) {
    EXPECT_TRUE(path.starts_with('/')) << path;
    EXPECT_FALSE(path.ends_with('/')) << path;
    EXPECT_TRUE(all.insert(path).second) << path;
  }
  EXPECT_EQ(folders->documents(), folders->home() + "/Documents");
}

TEST_P(HomeFoldersContract, GroupIdentifiersThatCouldLeaveTheFolderGiveNone) {
  const auto folders = GetParam()();
  for (const std::string& identifier :
       {std::string(), std::string("."), std::string(".."), std::string("a/b"), std::string("/a"),
        std::string("a.."), std::string("../a"), std::string("a\0b", 3)})
    EXPECT_EQ(folders->groupContainer(identifier), std::nullopt) << identifier;
}

TEST(LinuxHomeFolders, FollowTheVariablesOfTheDesktopStandard) {
  const struct {
    std::optional<std::string> home, data, cache;
    const char* expectedHome;
    const char* expectedCaches;
  } kCases[] = {
      {"/u", std::nullopt, std::nullopt, "/u/.local/share/com.example.till",
       "/u/.cache/com.example.till"},
      {"/u/", "", "", "/u/.local/share/com.example.till", "/u/.cache/com.example.till"},
      {"/u", "relative", "./x", "/u/.local/share/com.example.till", "/u/.cache/com.example.till"},
      {"/u", "/d//", "/c", "/d/com.example.till", "/c/com.example.till"},
      {"/", std::nullopt, std::nullopt, "/.local/share/com.example.till",
       "/.cache/com.example.till"},
  };
  for (const auto& c : kCases) {
    const ScopedVariable home("HOME", c.home), data("XDG_DATA_HOME", c.data),
        cache("XDG_CACHE_HOME", c.cache);
    const auto folders = ofTill();
    EXPECT_EQ(folders->home(), c.expectedHome);
    EXPECT_EQ(folders->caches(), c.expectedCaches);
  }
  const ScopedVariable data("XDG_DATA_HOME", "/d");
  EXPECT_EQ(ofTill()->library(), "/d/com.example.till/Library");
  EXPECT_EQ(ofTill()->applicationSupport(), "/d/com.example.till/Library/Application Support");
  EXPECT_EQ(ofTill()->groupContainer("group.example"), "/d/groups/group.example");
}

TEST(LinuxHomeFolders, UserWithoutHomeVariableHasTheHomeOfHisAccount) {
  for (const std::optional<std::string>& value :
       {std::optional<std::string>(), std::optional<std::string>("relative")}) {
    const ScopedVariable home("HOME", value), data("XDG_DATA_HOME", std::nullopt);
    const std::string path = ofTill()->home();
    EXPECT_TRUE(path.starts_with('/'));
    EXPECT_TRUE(path.ends_with("/.local/share/com.example.till")) << path;
    EXPECT_EQ(path.find("relative"), std::string::npos);
  }
}

}  // namespace
}  // namespace kelm::test
