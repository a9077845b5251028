// Every call of the services below fails in its turn, once or for ever after.
#include <functional>
#include <map>

#include "tests/storage/storage_fixture.h"
#include "tests/support/every_fault.h"

namespace kelm::testing {
namespace {

struct Case {
  const char* name;
  bool tellsTheTruth;  // by its result; the others do what they can, and say yes
  std::function<bool(const VaspFileHandler&)> run;
};

// Names the case only: its text would be the bytes of its functions.
void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

const Case kCases[] = {
    {"StoreOfANewFile", true,
     [](auto& h) { return h.storeNSData_withFullpath(bytesOf("new"), "/r/x/y/f"); }},
    {"StoreOverAnOldFile", true,
     [](auto& h) { return h.storeNSData_withFullpath(bytesOf("new"), "/r/d/1"); }},
    {"Remove", true, [](auto& h) { return h.removeFileWithFullPath("/r/s"); }},
    {"EnsureAndClear", false,
     [](auto& h) { return h.ensureFullPathExists_andClearFiles("/r/s", true); }},
    {"EmptyDeep", false, [](auto& h) { return h.emptyFullPath_includingSubFolders("/r/s", true); }},
    {"MoveFile", true,
     [](auto& h) { return h.moveFileWithFullPath_toDestFullPath("/r/s/1", "/r/d/1"); }},
    {"CopyFile", true,
     [](auto& h) { return h.copyFileWithFullPath_toDestFullPath("/r/s/1", "/r/x/y"); }},
    {"MoveFolder", true,
     [](auto& h) { return h.moveFolderFromFullpath_toFullpath("/r/s", "/r/x"); }},
    {"MoveContents", false,
     [](auto& h) { return h.moveContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d"); }},
    {"MoveContentsWithFolders", true,
     [](auto& h) {
       return h.moveContentsOfSrcFullpath_toDestFullpath_includingFolders("/r/s", "/r/d", true);
     }},
    {"CopyContents", false,
     [](auto& h) { return h.copyContentsOfSrcFullpath_toDestFullpath("/r/s", "/r/d"); }},
    {"ListSearchAndDump", true,
     [](auto& h) {
       (void)h.listFoldersInHandlerFullPath("/r/s");
       (void)h.debugListPathContent_indentation("/r/s", 0);
       return h.listFilesInHandlerFullPath("/r/s").size() == 2 &&
              h.searchFilesInFullPath_withFilenameContaining("/r/s", "").size() == 2;
     }},
};

using State = std::map<std::string, std::string>;  // the text at each path; "(none)" of folders

struct Furnished : StorageFixture {
  Furnished() {
    for (const char* path : {"/r/s/1", "/r/s/2", "/r/s/sub/3", "/r/d/1", "/r/bystander"})
      put(path, path);
  }
  State state() const {
    State state;
    for (const std::string& path : tree("/r"))
      state[path.substr(0, path.find_last_not_of('/') + 1)] = text(path);
    return state;
  }
};

class Faults : public ::testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(VaspFileHandler, Faults, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return row.param.name; });

bool holds(const State& state, const std::string& text) {
  return std::any_of(state.begin(), state.end(), [&](auto& item) { return item.second == text; });
}

TEST_P(Faults, LoseNoSourceLeaveNothingHalfDoneAndTellTheTruth) {
  Furnished clean;
  const State before = clean.state();
  EXPECT_TRUE(GetParam().run(clean.handler));
  const State after = clean.state();
  forEveryFault([&](const Fault& fault) {
    Furnished f;
    bool succeeded = false;
    const bool reached = fault.during(f.services, [&] { succeeded = GetParam().run(f.handler); });
    const State state = f.state();
    EXPECT_TRUE(!succeeded || !GetParam().tellsTheTruth || state == after);
    for (const auto& [path, text] : state) {
      const auto old = before.find(path), wanted = after.find(path);
      EXPECT_TRUE((old != before.end() && (text == old->second)) ||
                  (wanted != after.end() && (text == wanted->second || text == "(none)")))
          << path << " holds " << text;
    }
    for (const auto& [path, text] : before) {
      const auto kept = after.find(path);
      const bool mayChange = kept == after.end() || kept->second != text;
      EXPECT_TRUE(mayChange || (state.contains(path) && state.at(path) == text)) << path;
      EXPECT_TRUE(!holds(after, text) || holds(state, text)) << text << " is lost";
    }
    return reached;
  });
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
}  // namespace kelm::testing
