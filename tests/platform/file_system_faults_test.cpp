// What the system's file system does when its calls fail, stop half way or meet odd items.

#include <fcntl.h>
#include <sys/file.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include "kelm/platform/linux/files/system_call.h"
#include "tests/platform/file_world.h"

namespace kelm::testing {
namespace {

using platform::Descriptor;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// One operation, and what must hold after it, done or not.
struct Scenario {
  const char* name;
  Failure (*run)(const FileWorld& world);
  void (*check)(const FileWorld& world, bool isDone);
  bool hasNamelessFiles = true, isOtherDevice = false;
};

void furnish(const FileWorld& world) {
  world.put("f", "old");
  world.makeFolder("from/sub");
  world.put("from/a", std::string(100'000, 'a'));
  world.put("from/sub/b", "b");
  world.link("nowhere", "from/sub/link");
}

void expectWhole(const FileWorld& world, const std::string& folder) {
  EXPECT_EQ(world.tree(folder),
            (std::vector<std::string>{folder + "a=" + std::string(100'000, 'a'), folder + "sub/",
                                      folder + "sub/b=b", folder + "sub/link@"}));
}

Failure move(const FileWorld& world) { return world->move(world.at("from"), world.at("to")); }

void expectMoved(const FileWorld& world, bool isDone) {
  EXPECT_EQ(world->exists(world.at("from")), !isDone);
  expectWhole(world, isDone ? "to/" : "from/");
}

Failure replaceOld(const FileWorld& world) {
  return world->replaceFile(world.at("f"), bytesOf("new"));
}

void expectOldOrNew(const FileWorld& world, bool isDone) {
  EXPECT_THAT(world.text("f"), ::testing::AnyOf("new", isDone ? "new" : "old"));
}

const Scenario kScenarios[] = {
    {"replaced file", replaceOld, expectOldOrNew},
    {"replaced file, through a name", replaceOld, expectOldOrNew, false},
    {"created file", [](const FileWorld& w) { return w->createFile(w.at("new"), bytesOf("new")); },
     [](const FileWorld& w, bool isDone) {
       EXPECT_THAT(w.text("new"), ::testing::AnyOf("new", isDone ? "new" : "(none)"));
     }},
    {"created file, through a name",
     [](const FileWorld& w) { return w->createFile(w.at("new"), bytesOf("new")); },
     [](const FileWorld& w, bool isDone) {
       EXPECT_THAT(w.text("new"), ::testing::AnyOf("new", isDone ? "new" : "(none)"));
     },
     false},
    {"removal", [](const FileWorld& w) { return w->remove(w.at("from")); },
     [](const FileWorld& w, bool isDone) { EXPECT_EQ(w->exists(w.at("from")), !isDone); }},
    {"move", move, expectMoved},
    {"move to another device", move, expectMoved, true, true},
    {"copy", [](const FileWorld& w) { return w->copy(w.at("from"), w.at("to")); },
     [](const FileWorld& w, bool isDone) {
       expectWhole(w, "from/");
       if (isDone || w->exists(w.at("to"))) expectWhole(w, "to/");
     }},
};

/// What is on the disk of unfinished work.
std::vector<std::string> leftOvers(const FileWorld& world) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(world.root()))
    if (entry.path().filename().string().starts_with(".kelm-"))
      found.push_back(entry.path().filename());
  return found;
}

/// A world for a scenario, ready to run it.
struct Stage {
  explicit Stage(const Scenario& scenario) {
    furnish(world);
    calls->hasNamelessFiles = scenario.hasNamelessFiles;
    calls->isOtherDevice = scenario.isOtherDevice;
  }
  std::shared_ptr<FaultyCalls> calls = std::make_shared<FaultyCalls>();
  FileWorld world = FileWorld::real(calls);
};

/// Runs a scenario with its call `n` failing, maybe all later ones too; false if it made fewer.
bool runFailing(const Scenario& scenario, std::uint64_t n, bool forEver, int error) {
  SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(n) +
               (forEver ? " and later ones" : ""));
  const Stage stage(scenario);
  const std::uint64_t last = stage.calls->calls() + n;
  forEver ? stage.calls->failFromCall(n, error) : stage.calls->failCall(n, error);
  const Failure failure = scenario.run(stage.world);
  const bool isReached = stage.calls->calls() >= last;
  stage.calls->stopFailing();
  EXPECT_THAT(codeOf(failure), ::testing::AnyOf(0, isReached ? error : 0));
  scenario.check(stage.world, !failure);
  // What could not be cleared up then is cleared up when its folder is next listed.
  stage.world.tree();
  EXPECT_THAT(leftOvers(stage.world), IsEmpty());
  return isReached;
}

TEST(FileSystemFaults, NoCallThatFailsLosesOrTearsAnything) {
  for (const Scenario& scenario : kScenarios)
    for (const bool forEver : {false, true})
      for (const int error : {EIO, ENOSPC})
        for (std::uint64_t n = 1; runFailing(scenario, n, forEver, error); ++n)
          ASSERT_LT(n, 200U);
}

TEST(FileSystemFaults, InterruptedAndShortCallsStillComplete) {
  for (const Scenario& scenario : kScenarios) {
    SCOPED_TRACE(scenario.name);
    Stage stage(scenario);
    stage.calls->interruptsEach = true;
    stage.calls->mostBytes = 4099;
    EXPECT_EQ(codeOf(scenario.run(stage.world)), 0);
    scenario.check(stage.world, true);
    EXPECT_THAT(leftOvers(stage.world), IsEmpty());
  }
}

TEST(FileSystemFaults, ListingRemovesWhatACrashLeftButNotWhatAnotherProcessUses) {
  const FileWorld world = FileWorld::real();
  const std::string used = ".kelm-fedcba9876543210.tmp";
  std::filesystem::create_directory(world.at(".kelm-00000000000000ff.tmp"));
  for (const std::string& name : {std::string(".kelm-0123456789abcdef.tmp"), used,
                                  std::string(".kelm-00000000000000ff.tmp/inside")})
    ASSERT_TRUE(Descriptor(::open(world.at(name).c_str(), O_CREAT | O_WRONLY, 0600)).isOpen());
  const Descriptor user(::open(world.at(used).c_str(), O_RDONLY));
  ASSERT_EQ(::flock(user.number(), LOCK_EX), 0);
  world.put(".kelm-no-temporary.tmp", "");
  EXPECT_THAT(world.tree(), ElementsAre(".kelm-no-temporary.tmp="));
  EXPECT_THAT(leftOvers(world), ::testing::UnorderedElementsAre(".kelm-no-temporary.tmp", used));
}

TEST(FileSystemFaults, PipesAndDevicesAreNeitherReadNorReplacedNorCopied) {
  const FileWorld world = FileWorld::real();
  ASSERT_EQ(::mkfifo(world.at("pipe").c_str(), 0600), 0);
  world.link("/dev/zero", "device");
  for (const char* const name : {"pipe", "device"})
    EXPECT_EQ(codeOf(world->readFile(world.at(name))), EINVAL);
  EXPECT_EQ(codeOf(world->replaceFile(world.at("pipe"), {})), EEXIST);
  EXPECT_EQ(codeOf(world->copy(world.root(), world.root() + "x")), EOPNOTSUPP);
  EXPECT_FALSE(world->exists(world.root() + "x"));
  EXPECT_EQ(world->status(world.at("pipe"))->kind, platform::FileKind::Other);
  EXPECT_EQ(codeOf(world->remove(world.at("pipe"))), 0);
  EXPECT_THAT(world.tree(), ElementsAre("device@"));
}

TEST(FileSystemFaults, TreesDeeperThanAnyPathAreCopiedAndRemoved) {
  constexpr int kLevels = 2000;
  const FileWorld world = FileWorld::real(std::make_shared<UnsyncedCalls>());
  world.makeFolder("deep");
  const auto down = [&](const char* name, bool makes) {
    Descriptor folder(::open(world.at(name).c_str(), O_RDONLY | O_DIRECTORY));
    for (int i = 0; i < kLevels; ++i) {
      if (makes) ::mkdirat(folder.number(), "a level", 0700);
      folder = Descriptor(::openat(folder.number(), "a level", O_RDONLY | O_DIRECTORY));
    }
    return folder;
  };
  ASSERT_EQ(::mkdirat(down("deep", true).number(), "bottom", 0700), 0);
  ASSERT_EQ(codeOf(world->copy(world.at("deep"), world.at("copy"))), 0);
  EXPECT_EQ(::faccessat(down("copy", false).number(), "bottom", F_OK, 0), 0);
  EXPECT_EQ(codeOf(world->remove(world.at("deep"))), 0);
  EXPECT_EQ(codeOf(world->remove(world.at("copy"))), 0);
  EXPECT_THAT(world.tree(), IsEmpty());
}

TEST(FileSystemFaults, ThreadsThatMeetSeeWholeContentsAndFailNever) {
  auto calls = std::make_shared<UnsyncedCalls>();
  calls->hasNamelessFiles = false;  // the way that needs the locks
  const FileWorld world = FileWorld::real(calls);
  world.put("shared", std::string(5000, 'a'));
  std::atomic<int> wrong{0};
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, own = std::to_string(t)] {
      const std::string content(5000, own[0]);
      for (int i = 0; i < 100; ++i) {
        wrong += world->replaceFile(world.at("shared"), bytesOf(content)).has_value();
        wrong += world->createDirectories(world.at(own + "/x")).has_value();
        wrong += world->replaceFile(world.at(own + "/x/y"), bytesOf(own)).has_value();
        wrong += world->remove(world.at(own)).has_value();
      }
    });
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        const std::string read = world.text("shared");
        wrong += read != std::string(5000, read[0]);
        const auto entries = world->list(world.root());
        for (const auto& entry : *entries)
          wrong += entry.name.starts_with(".");
      }
    });
  threads.clear();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace kelm::testing
