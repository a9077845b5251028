// The item store in SQLite while the disk fails or is full, beside other processes and threads, and
// after a process was killed.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "tests/platform/faulty_sqlite_files.h"
#include "tests/platform/item_store_world.h"

namespace kelm::testing {
namespace {

using ::testing::AnyOf;

class SqliteItemStoreFaults : public SqliteItemStore {};

TEST_F(SqliteItemStoreFaults, FailedCallOfTheFileSystemIsAStatusAndTheNextTryWorks) {
  int failures = 0;
  const auto calls = std::make_shared<FaultyCalls>();
  const platform::ScopedService<platform::FileSystem> files(platform::makeFileSystem(calls));
  bool isReached = true;
  for (std::uint64_t number = 1; isReached; ++number) {
    std::filesystem::remove_all(folder.folder);
    reopen();
    const std::uint64_t before = calls->calls();
    calls->failCall(number);
    const bool works = add("anna") == 0;
    isReached = calls->calls() - before >= number;
    calls->stopFailing();
    failures += works ? 0 : 1;
    EXPECT_EQ(add("anna"), works ? -25299 : 0) << number;
    EXPECT_EQ(storedSecretOf("anna"), kPassword) << number;
  }
  EXPECT_GT(failures, 3);
}

/// The same while calls of SQLite on its files fail.
class FaultySqlite : public SqliteItemStore {
 protected:
  FaultySqlite() {
    folder.options.vfs = FaultySqliteFiles::kName;
    reopen();
  }
  ~FaultySqlite() override { store.reset(); }  // before its files

  FaultySqliteFiles files;
  const Dictionary bound =
      with(password("dora"), kSecAttrAccessible, kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly);
};

TEST_F(FaultySqlite, CallsThatFailOnceOrFromThenOnLoseNoOtherSecret) {
  for (const bool once : {true, false}) {
    int failures = 0;
    for (int number = 1, calls = number; number <= calls; ++number) {
      SCOPED_TRACE(number);
      store.reset();
      std::filesystem::remove_all(folder.folder);
      reopen();
      for (const char* account : {"anna", "bruno"})
        ASSERT_EQ(add(account, account), 0);
      reopen();
      files.failCalls(number, once ? number : INT_MAX);
      const std::string read = secretOf("anna");
      const std::int32_t added = add("carla", "carla");
      const std::int32_t removed = store->remove(password("bruno"));
      const std::int32_t reported = store->reportDeviceSecurity({true, {}});
      calls = files.calls();
      files.failCalls(0, 0);
      EXPECT_THAT(read, AnyOf("anna", "-36", "-25291", "-25292"));
      failures += read != "anna" || added != 0 || removed != 0 || reported != 0;
      reopen();
      EXPECT_EQ(secretOf("anna"), "anna");
      EXPECT_THAT(secretOf("carla"), AnyOf("carla", added == 0 ? "carla" : "-25300"));
      EXPECT_THAT(secretOf("bruno"), AnyOf("-25300", removed == 0 ? "-25300" : "bruno"));
      EXPECT_THAT(store->add(bound).status, AnyOf(0, reported == 0 ? 0 : -25293));
      store->remove(password("carla"));
      EXPECT_EQ(add("carla"), 0);
    }
    EXPECT_GT(failures, 20);
  }
}

TEST_F(FaultySqlite, FullDiskIsReportedKeepsWhatIsThereAndAnswersNothingBeforeALostReportHolds) {
  ASSERT_EQ(store->reportDeviceSecurity({true, {}}), 0);
  ASSERT_EQ(store->add(withSecret(bound, kPassword)).status, 0);
  ASSERT_EQ(add("anna"), 0);
  files.setDiskFull(true);
  EXPECT_EQ(add("bruno", std::string(100000, 'b')), -34);
  EXPECT_EQ(store->remove(password("anna")), -34);
  EXPECT_EQ(secretOf("anna"), kPassword);
  EXPECT_EQ(store->reportDeviceSecurity({false, {}}), -34);
  EXPECT_EQ(secretIn(*store, bound), "-34");
  files.setDiskFull(false);
  EXPECT_EQ(secretIn(*store, bound), "-25300");
  EXPECT_EQ(add("bruno", std::string(100000, 'b')), 0);
  EXPECT_EQ(secretOf("anna"), kPassword);
}

TEST_F(SqliteItemStoreFaults, StoreThatAnotherProcessChangesForTooLongIsNotAvailable) {
  folder.options.patienceMilliseconds = 1;
  reopen();
  ASSERT_EQ(add("anna"), 0);
  RawDatabase other(folder.database);
  other.run("BEGIN IMMEDIATE");
  EXPECT_EQ(add("bruno"), -25291);
  other.run("ROLLBACK");
  EXPECT_EQ(add("bruno"), 0);
  EXPECT_EQ(secretOf("anna"), kPassword);
}

/// Runs `body` in a child process, whose exit code is 0 if that returns true.
pid_t startChild(const std::function<bool()>& body) {
  const pid_t child = ::fork();
  if (child == 0) _exit([&]() noexcept { return body() ? 0 : 1; }());
  return child;
}
bool succeeded(pid_t child) {
  int status = 0;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Replaces the secret of an account as often as it takes, at most 100 times.
bool replace(platform::ItemStore& store, std::string_view account, std::string_view secret) {
  for (int tries = 0; tries < 100; ++tries) {
    store.remove(password(account));
    const std::int32_t status = store.add(withSecret(password(account), secret)).status;
    if (status != -25299) return status == 0;
  }
  return false;
}

TEST_F(SqliteItemStoreFaults, ProcessesThatBeginAtOnceShareOneStoreAndOneKey) {
  std::vector<pid_t> children;
  for (int child = 0; child < 4; ++child)
    children.push_back(startChild([this, own = "own" + std::to_string(child)] {
      reopen();
      for (int round = 0; round < 15; ++round)
        if (!replace(*store, own, std::to_string(round)) || !replace(*store, "shared", own))
          return false;
      return true;
    }));
  for (const pid_t child : children)
    EXPECT_TRUE(succeeded(child));
  for (int child = 0; child < 4; ++child)
    EXPECT_EQ(secretOf("own" + std::to_string(child)), "14");
  EXPECT_EQ(secretOf("shared").substr(0, 3), "own");
}

TEST_F(SqliteItemStoreFaults, KillBetweenDeletionAndAdditionLosesNoOtherSecretAndBlocksNobody) {
  for (int kills = 0; kills < 20; ++kills) {
    store.reset();  // no connection may be open while a child is made
    ASSERT_TRUE(replace(*folder.open(), "kept", "safe"));
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = startChild([&] {
      reopen();
      for (int round = 0;; ++round) {
        replace(*store, "pin", "whole");
        store->remove(password("pin"));
        if (round != kills % 5) continue;
        if (::write(ends[1], "x", 1) != 1) return false;
        if (kills % 2 == 0) ::pause();
      }
    });
    char mark;
    ASSERT_EQ(::read(ends[0], &mark, 1), 1);
    ::kill(child, SIGKILL);
    EXPECT_FALSE(succeeded(child));
    ::close(ends[0]);
    ::close(ends[1]);
    reopen();
    EXPECT_THAT(secretOf("pin"), AnyOf("-25300", kills % 2 == 1 ? "whole" : "-25300"));
    EXPECT_EQ(secretOf("kept"), "safe");
  }
}

TEST_F(SqliteItemStoreFaults, ThreadsShareOneStore) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < 4; ++number)
    threads.emplace_back([this, own = "own" + std::to_string(number)] {
      for (int round = 0; round < 10; ++round) {
        EXPECT_TRUE(replace(*store, own, own));
        EXPECT_EQ(secretOf(own), own);
        store->setAuthenticator([](const auto&) { return 0; });
        EXPECT_EQ(store->reportDeviceSecurity({round % 2 == 0, {}}), 0);
      }
    });
}

}  // namespace
}  // namespace kelm::testing
