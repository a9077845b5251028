#include "kelm/platform/home_folders.h"

#include <gtest/gtest.h>

#include "kelm/testing/memory_bundle.h"
#include "tests/platform/scoped_variable.h"

namespace kelm::testing {
namespace {

class LinuxHomeFolders : public ::testing::Test {
 protected:
  static std::shared_ptr<platform::HomeFolders> ofTill() {
    return platform::HomeFolders::makeSystem();
  }

 private:
  platform::ScopedService<platform::Bundle> bundle_{std::make_shared<MemoryBundle>()};
};

TEST_F(LinuxHomeFolders, GroupIdentifiersThatCouldLeaveTheFolderGiveNone) {
  const auto folders = ofTill();
  for (const std::string& identifier : {std::string(), std::string("."), std::string("a/b"),
                                        std::string("a.."), std::string("a\0b", 3)})
    EXPECT_EQ(folders->groupContainer(identifier), std::nullopt) << identifier;
  EXPECT_TRUE(folders->groupContainer("group.example")->ends_with("/groups/group.example"));
}

TEST_F(LinuxHomeFolders, FollowTheVariablesOfTheDesktopStandard) {
  const struct {
    std::optional<std::string> home, data, cache;
    const char* expectedHome;
    const char* expectedCaches;
  } kCases[] = {
      {"/u/", "relative", "", "/u/.local/share/com.example.till", "/u/.cache/com.example.till"},
      {"/u", "/d//", "/c", "/d/com.example.till", "/c/com.example.till"},
  };
  for (const auto& c : kCases) {
    const ScopedVariable home("HOME", c.home), data("XDG_DATA_HOME", c.data),
        cache("XDG_CACHE_HOME", c.cache);
    const auto folders = ofTill();
    EXPECT_EQ(folders->home(), c.expectedHome);
    EXPECT_EQ(folders->caches(), c.expectedCaches);
  }
}

TEST_F(LinuxHomeFolders, UserWithoutHomeVariableHasTheHomeOfHisAccount) {
  const ScopedVariable home("HOME", "relative"), data("XDG_DATA_HOME", std::nullopt);
  const std::string path = ofTill()->home();
  EXPECT_TRUE(path.starts_with('/'));
  EXPECT_TRUE(path.ends_with("/.local/share/com.example.till")) << path;
  EXPECT_EQ(path.find("relative"), std::string::npos);
}

}  // namespace
}  // namespace kelm::testing
