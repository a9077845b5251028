#include "kelm/platform/file_attributes.h"

#include <sys/xattr.h>

#include "kelm/testing/memory_file_attributes.h"
#include "tests/platform/file_world.h"

namespace kelm::testing {
namespace {

/// Attributes of the items of a world.
struct AttributeWorld {
  FileWorld files;
  std::shared_ptr<platform::FileAttributes> attributes;

  static AttributeWorld real() {
    return {FileWorld::real(), platform::FileAttributes::makeSystem()};
  }
  static AttributeWorld inMemory() {
    FileWorld files = FileWorld::inMemory();
    return {files, std::make_shared<MemoryFileAttributes>(files.memory())};
  }
};

class FileAttributesContract : public ::testing::TestWithParam<AttributeWorld (*)()> {
 protected:
  AttributeWorld world_ = GetParam()();
  FileWorld& files_ = world_.files;
  platform::FileAttributes& attributes_ = *world_.attributes;
};
INSTANTIATE_TEST_SUITE_P(Each, FileAttributesContract,
                         ::testing::Values(&AttributeWorld::real, &AttributeWorld::inMemory),
                         [](const auto& world) { return world.index == 0 ? "Linux" : "Memory"; });

constexpr const char* kClass = "NSFileProtectionCompleteUntilFirstUserAuthentication";

TEST_P(FileAttributesContract, FilesAndFoldersKeepWhatWasSetThroughLinksMovesAndCopies) {
  files_.put("file", "1");
  files_.makeFolder("folder");
  for (const std::string name : {"file", "folder"}) {
    const std::string path = files_.at(name);
    EXPECT_EQ(attributes_.protection(path), std::nullopt);
    EXPECT_FALSE(attributes_.isExcludedFromBackup(path));
    files_.link(name, name + " link");
    for (const bool again : {false, true}) {
      EXPECT_EQ(codeOf(attributes_.setProtection(path + " link", again ? kClass : "other")), 0);
      EXPECT_EQ(codeOf(attributes_.setExcludedFromBackup(path + " link", !again)), 0);
      EXPECT_EQ(codeOf(attributes_.setExcludedFromBackup(path + " link", again)), 0);
    }
    EXPECT_EQ(codeOf(files_->copy(path, path + " copy")), 0);
    EXPECT_EQ(codeOf(files_->move(path, path + " moved")), 0);
    for (const char* const suffix : {" copy", " moved"}) {
      EXPECT_EQ(attributes_.protection(path + suffix), kClass);
      EXPECT_TRUE(attributes_.isExcludedFromBackup(path + suffix));
    }
    EXPECT_EQ(codeOf(attributes_.setExcludedFromBackup(path + " moved", false)), 0);
    EXPECT_FALSE(attributes_.isExcludedFromBackup(path + " moved"));
  }
  files_.put("file moved", "2");
  EXPECT_EQ(attributes_.protection(files_.at("file moved")), std::nullopt) << "a new file";
}

TEST_P(FileAttributesContract, MissingItemsAndBadPathsAreErrors) {
  files_.link("loop", "loop");
  files_.put("file", "1");
  const std::pair<std::string, int> kCases[] = {{files_.at("none"), ENOENT},
                                                {files_.at("loop"), ELOOP},
                                                {files_.at("file/x"), ENOTDIR},
                                                {files_.at(std::string("file\0", 5)), EINVAL},
                                                {"", ENOENT}};
  for (const auto& [path, error] : kCases) {
    EXPECT_EQ(codeOf(attributes_.setProtection(path, kClass)), error) << path;
    for (const bool excluded : {true, false})
      EXPECT_EQ(codeOf(attributes_.setExcludedFromBackup(path, excluded)), error) << path;
    EXPECT_EQ(attributes_.protection(path), std::nullopt);
    EXPECT_FALSE(attributes_.isExcludedFromBackup(path));
  }
}

TEST(LinuxFileAttributes, FileSystemThatRefusesThemCountsAsSuccess) {
  const auto attributes = platform::FileAttributes::makeSystem();
  const std::string path = "/proc/self/status";  // holds none, for anybody
  ASSERT_EQ(::setxattr(path.c_str(), "user.kelm.protection", "x", 1, 0), -1);
  EXPECT_EQ(codeOf(attributes->setProtection(path, kClass)), 0);
  for (const bool excluded : {true, false})
    EXPECT_EQ(codeOf(attributes->setExcludedFromBackup(path, excluded)), 0);
  EXPECT_EQ(attributes->protection(path), std::nullopt);
}

TEST(LinuxFileAttributes, BackupProgramsSeeTheFlagAndNewFilesHaveItFromTheirFolder) {
  AttributeWorld world = AttributeWorld::real();
  struct statx status {};
  const auto hasFlag = [&](const std::string& name) {
    ::statx(AT_FDCWD, world.files.at(name).c_str(), 0, 0, &status);
    return (status.stx_attributes & STATX_ATTR_NODUMP) != 0;
  };
  world.files.makeFolder("folder");
  (void)hasFlag("folder");  // may have it from the folder of temporary files
  if ((status.stx_attributes_mask & STATX_ATTR_NODUMP) == 0)
    GTEST_SKIP() << "this file system has no such flag";
  EXPECT_EQ(codeOf(world.attributes->setExcludedFromBackup(world.files.at("folder"), true)), 0);
  world.files.put("folder/file", "1");
  EXPECT_TRUE(hasFlag("folder"));
  EXPECT_TRUE(hasFlag("folder/file"));
  EXPECT_EQ(codeOf(world.attributes->setExcludedFromBackup(world.files.at("folder/file"), false)),
            0);
  EXPECT_FALSE(hasFlag("folder/file"));
}

}  // namespace
}  // namespace kelm::testing
