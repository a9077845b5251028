// Every call of the services below fails in its turn, once or for ever after.
#include <functional>
#include <set>

#include "kelm/storage/vasp_secure_file_handler.h"
#include "tests/storage/storage_fixture.h"

namespace kelm::test {
namespace {

using ::testing::AnyOf;
using ::testing::IsSubsetOf;

using Texts = std::vector<std::string>;

struct Case {
  const char* name;
  std::function<bool(const VaspFileHandler&)> run;
  /// Checks what the result claims.
  std::function<void(StorageFixture&, bool succeeded)> check;
  /// All that may exist afterwards.
  std::vector<std::string> mayExist;
};

// Names the case only: its text would be the bytes of its functions.
void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

void expectEither(const StorageFixture& f, const std::string& path, const Texts& texts) {
  EXPECT_THAT(texts, ::testing::Contains(f.text(path))) << path;
}

// "/r/s" holds the files 1 and 2 and the folder sub with 3; "/r/d" an older 1. All else may go.
const Case kCases[] = {
    {"StoreOfANewFile",
     [](auto& h) { return h.storeNSData_withFullpath(bytesOf("new"), "/r/x/y/f"); },
     [](auto& f, bool done) {
       expectEither(f, "/r/x/y/f", done ? Texts{"new"} : Texts{"new", "(none)"});
     },
     {"/r/x/", "/r/x/y/", "/r/x/y/f", "/r/x/y/f/"}},
    {"StoreOverAnOldFile",
     [](auto& h) { return h.storeNSData_withFullpath(bytesOf("new"), "/r/d/1"); },
     [](auto& f, bool done) {
       expectEither(f, "/r/d/1", done ? Texts{"new"} : Texts{"new", "old", "(none)"});
     },
     {}},
    {"Remove",
     [](auto& h) { return h.removeFileWithFullPath("/r/s"); },
     [](auto& f, bool done) { EXPECT_EQ(f.text("/r/s/1"), done ? "(none)" : "one"); },
     {}},
    {"EnsureAndClear",
     [](auto& h) { return h.ensureFullPathExists_andClearFiles("/r/s", true); },
     [](auto& f, bool) { EXPECT_EQ(f.text("/r/s/sub/3"), "three"); },
     {}},
    {"EmptyDeep",
     [](auto& h) { return h.emptyFullPath_includingSubFolders("/r/s", true); },
     [](auto& f, bool) {
       expectEither(f, "/r/s/sub/3", {"three", "(none)"});
     },
     {}},
    {"MoveFile",
     [](auto& h) { return h.moveFileWithFullPath_toDestFullPath("/r/s/1", "/r/d/1"); },
     [](auto& f, bool done) {
       EXPECT_EQ(f.text(done ? "/r/d/1" : "/r/s/1"), "one");
       expectEither(f, "/r/d/1", {"one", "old", "(none)"});
     },
     {"/r/d/1/"}},
    {"MoveFileIntoANewFolder",
     [](auto& h) { return h.moveFileWithFullPath_toDestFullPath("/r/s/1", "/r/x/y"); },
     [](auto& f, bool done) { EXPECT_EQ(f.text(done ? "/r/x/y" : "/r/s/1"), "one"); },
     {"/r/x/", "/r/x/y", "/r/x/y/"}},
    {"CopyFile",
     [](auto& h) { return h.copyFileWithFullPath_toDestFullPath("/r/s/1", "/r/x/y"); },
     [](auto& f, bool done) {
       EXPECT_EQ(f.text("/r/s/1"), "one");
       expectEither(f, "/r/x/y", done ? Texts{"one"} : Texts{"one", "(none)"});
     },
     {"/r/x/", "/r/x/y"}},
    {"MoveFolder",
     [](auto& h) { return h.moveFolderFromFullpath_toFullpath("/r/s", "/r/x"); },
     [](auto& f, bool done) { EXPECT_EQ(f.text(done ? "/r/x/1" : "/r/s/1"), "one"); },
     {"/r/x/", "/r/x/1", "/r/x/2", "/r/x/sub/", "/r/x/sub/3"}},
    {"MoveContents",
     [](auto& h) { return h.moveContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d"); },
     [](auto& f, bool) {
       for (const auto& [name, text] : {std::pair("1", "one"), {"2", "two"}})
         EXPECT_TRUE(f.text(std::string("/r/s/") + name) == text ||
                     f.text(std::string("/r/d/") + name) == text);
     },
     {"/r/d/2"}},
    {"MoveContentsWithFolders",
     [](auto& h) {
       return h.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/s", "/r/d", true);
     },
     [](auto& f, bool done) {
       for (const auto& [name, text] : {std::pair("1", "one"), {"2", "two"}, {"sub/3", "three"}}) {
         const std::string moved = f.text(std::string("/r/d/") + name);
         EXPECT_TRUE(moved == text || (!done && f.text(std::string("/r/s/") + name) == text));
       }
     },
     {"/r/d/2", "/r/d/sub/", "/r/d/sub/3"}},
    {"CopyContents",
     [](auto& h) { return h.copyContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d"); },
     [](auto& f, bool) {
       EXPECT_EQ(f.text("/r/s/1"), "one");
       EXPECT_EQ(f.text("/r/s/2"), "two");
       expectEither(f, "/r/d/1", {"one", "old", "(none)"});
     },
     {"/r/d/2"}},
    {"ListSearchAndDump",
     [](auto& h) {
       (void)h.listFoldersInHandlerFullPath("/r/s");
       (void)h.debugListPathContent_indentation("/r/s", 0);
       return h.listFilesInHandlerFullPath("/r/s").size() == 2 &&
              h.searchFilesInFullPath_withFilenameContaining("/r/s", "").size() == 2;
     },
     [](auto& f, bool) { EXPECT_EQ(f.text("/r/s/1"), "one"); },
     {}},
};

class Faults : public ::testing::TestWithParam<Case> {
 protected:
  static void prepare(StorageFixture& f) {
    f.put("/r/s/1", "one");
    f.put("/r/s/2", "two");
    f.put("/r/s/sub/3", "three");
    f.put("/r/d/1", "old");
    f.put("/r/bystander", "untouched");
  }
  // Fails call `number` of either service; false when the operation makes fewer calls.
  static bool runWithFault(std::uint64_t number, bool forEver, bool ofAttributes) {
    StorageFixture f;
    prepare(f);
    FaultLadder& ladder =
        ofAttributes ? static_cast<FaultLadder&>(f.attributes) : static_cast<FaultLadder&>(f.files);
    std::vector<std::string> allowed = f.tree("/r");
    allowed.insert(allowed.end(), GetParam().mayExist.begin(), GetParam().mayExist.end());
    const std::uint64_t before = ladder.calls();
    forEver ? ladder.failFromCall(number) : ladder.failCall(number);
    bool succeeded = false;
    EXPECT_NO_THROW(succeeded = GetParam().run(f.handler));
    const bool reached = ladder.calls() - before >= number;
    ladder.stopFailing();
    GetParam().check(f, succeeded);
    EXPECT_EQ(f.text("/r/bystander"), "untouched");
    EXPECT_THAT(f.tree("/r"), IsSubsetOf(allowed));
    return reached;
  }
};

INSTANTIATE_TEST_SUITE_P(VaspFileHandler, Faults, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return row.param.name; });

TEST_P(Faults, LoseNoSourceLeaveNothingHalfDoneAndTellTheTruth) {
  for (const bool ofAttributes : {false, true}) {
    for (const bool forEver : {false, true}) {
      std::uint64_t number = 1;
      while (runWithFault(number, forEver, ofAttributes)) {
        if (HasFailure()) {
          FAIL() << "call " << number << (forEver ? " and later" : "")
                 << (ofAttributes ? " of the attributes" : "");
        }
        ++number;
      }
      EXPECT_TRUE(ofAttributes || number > 1) << "no call was made to fail";
    }
  }
}

TEST(VaspFileHandlerDurability, AStoreThatSucceededSurvivesALossOfPower) {
  StorageFixture f;
  ASSERT_TRUE(f.handler.storeNSData_withFullpath(bytesOf("new"), "/r/a/b/f"));
  f.put("/r/plain", "copied");
  ASSERT_TRUE(f.handler.copyFileWithFullPath_toDestFullPath("/r/plain", "/r/c/copy"));
  f.files.losePower();
  EXPECT_EQ(f.text("/r/a/b/f"), "new");
  EXPECT_EQ(f.text("/r/c/copy"), "copied");
}

}  // namespace
}  // namespace kelm::test
