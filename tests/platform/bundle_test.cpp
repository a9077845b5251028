#include "kelm/platform/bundle.h"

#include <filesystem>
#include <fstream>

#include "tests/platform/file_world.h"
#include "tests/platform/scoped_variable.h"

namespace kelm::testing {
namespace {

const std::string kOwnIdentifier =
    "local." + std::filesystem::read_symlink("/proc/self/exe").filename().string();

TEST(LinuxBundle, IdentifierIsTheHostsElseTheDescriptionsElseTheProgramsName) {
  const struct {
    std::string given;
    const char* description;
    std::string expected;
  } kCases[] = {
      {"com.example.till", R"({"bundleIdentifier": "com.example.other"})", "com.example.till"},
      {"", R"({"bundleIdentifier": "com.example.other"})", "com.example.other"},
      {"..", R"({"bundleIdentifier": "../other"})", kOwnIdentifier},
      {std::string("a\0b", 3), "[]", kOwnIdentifier},
  };
  for (const auto& c : kCases) {
    const FileWorld world = FileWorld::real();
    world.put("Info.json", c.description);
    EXPECT_EQ(platform::makeBundle(c.given, world.root())->identifier(), c.expected)
        << c.description;
  }
}

TEST(LinuxBundle, DescriptionIsReadAndItsAbsenceIsNoFailure) {
  const FileWorld world = FileWorld::real();
  EXPECT_EQ(platform::makeBundle("a", world.root())->info("build"), std::nullopt);
  world.put("Info.json", R"({"build": 7})");
  EXPECT_EQ(platform::makeBundle("a", world.root() + "//")->info("build"), Value(7));
}

TEST(LinuxBundle, SystemsOwnComesFromTheEnvironmentAndTheProgramsFolder) {
  const ScopedVariable told("KELM_BUNDLE_ID", "com.example.told");
  EXPECT_EQ(platform::Bundle::makeSystem()->identifier(), "com.example.told");
  EXPECT_EQ(platform::Bundle::makeSystem()->path(),
            std::filesystem::read_symlink("/proc/self/exe").parent_path());
  const ScopedVariable silent("KELM_BUNDLE_ID", std::nullopt);
  EXPECT_EQ(platform::Bundle::makeSystem()->identifier(), kOwnIdentifier);
}

}  // namespace
}  // namespace kelm::testing
