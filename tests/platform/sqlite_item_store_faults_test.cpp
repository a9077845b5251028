// The item store in SQLite while the disk fails or is full, beside other processes and threads, and
// after a process was killed.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <thread>

#include "tests/platform/faulty_sqlite_files.h"
#include "tests/platform/item_store_world.h"

namespace kelm::test {
namespace {

TEST(SqliteItemStoreFaults, FailedCallOfTheFileSystemIsAStatusAndTheNextTryWorks) {
  int failures = 0;
  const auto calls = std::make_shared<FaultyCalls>();
  for (std::uint64_t number = 1, last = 0; last <= calls->calls(); ++number) {
    const ItemFolder folder;
    auto parts = folder.parts();
    parts.files = platform::makeFileSystem(calls);
    const auto store = platform::makeSqliteItemStore(parts);
    last = calls->calls() + number;
    calls->failCall(number);
    const bool works = store->add(withSecret(password("anna"), kPassword)).status == 0;
    if (!works) ++failures;
    EXPECT_EQ(store->add(withSecret(password("anna"), kPassword)).status, works ? -25299 : 0);
    EXPECT_EQ(secretIn(*folder.open(), password("anna")), kPassword) << number;
  }
  EXPECT_GT(failures, 3);
}

/// Each call of SQLite on its files fails, once or from then on, while a store adds, removes, reads
/// and takes a report. Items that are not touched stay; what was acknowledged holds.
void failEachCall(bool once) {
  FaultySqliteFiles files;
  int failures = 0;
  for (int number = 1;; ++number) {
    SCOPED_TRACE(number);
    const ItemFolder folder;
    auto parts = folder.parts();
    parts.vfs = FaultySqliteFiles::kName;
    {
      const auto seed = platform::makeSqliteItemStore(parts);
      for (const char* account : {"anna", "bruno"})
        ASSERT_EQ(seed->add(withSecret(password(account), account)).status, 0);
    }
    std::int32_t added = 0, removed = 0, reported = 0;
    std::string read;
    int calls = 0;
    {
      const auto store = platform::makeSqliteItemStore(parts);
      files.failCalls(number, once ? number : INT_MAX);
      read = secretIn(*store, password("anna"));
      added = store->add(withSecret(password("carla"), "carla")).status;
      removed = store->remove(password("bruno"));
      reported = store->reportDeviceSecurity({true, {}});
      calls = files.calls();
      files.failCalls(0, 0);
    }
    EXPECT_TRUE(read == "anna" || read == "-36" || read == "-25291" || read == "-25292") << read;
    const bool failed = read != "anna" || added != 0 || removed != 0 || reported != 0;
    failures += failed ? 1 : 0;
    const auto after = folder.open();
    EXPECT_EQ(secretIn(*after, password("anna")), "anna");
    if (added == 0) {
      EXPECT_EQ(secretIn(*after, password("carla")), "carla");
    }
    if (removed == 0) {
      EXPECT_EQ(secretIn(*after, password("bruno")), "-25300");
    }
    const Dictionary bound =
        with(password("dora"), kSecAttrAccessible, kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly);
    if (reported == 0) {
      EXPECT_EQ(after->add(bound).status, 0);
    }
    after->remove(password("carla"));
    EXPECT_EQ(after->add(withSecret(password("carla"), "again")).status, 0);
    if (number > calls) break;
  }
  EXPECT_GT(failures, 20);
}

TEST(SqliteItemStoreFaults, OneFailedCallOfSqliteLosesNoOtherSecret) { failEachCall(true); }
TEST(SqliteItemStoreFaults, FilesThatFailFromACallOnLoseNoOtherSecret) { failEachCall(false); }

TEST(SqliteItemStoreFaults, FullDiskIsReportedAndKeepsWhatIsThere) {
  FaultySqliteFiles files;
  const ItemFolder folder;
  auto parts = folder.parts();
  parts.vfs = FaultySqliteFiles::kName;
  const auto store = platform::makeSqliteItemStore(parts);
  ASSERT_EQ(store->add(withSecret(password("anna"), kPassword)).status, 0);
  files.setDiskFull(true);
  EXPECT_EQ(store->add(withSecret(password("bruno"), std::string(100000, 'b'))).status, -34);
  EXPECT_EQ(store->remove(password("anna")), -34);
  EXPECT_EQ(secretIn(*store, password("anna")), kPassword);
  files.setDiskFull(false);
  EXPECT_EQ(store->add(withSecret(password("bruno"), std::string(100000, 'b'))).status, 0);
  EXPECT_EQ(secretIn(*store, password("anna")), kPassword);
}

TEST(SqliteItemStoreFaults, ReportThatCouldNotBeWrittenHoldsBeforeAnythingIsAnswered) {
  FaultySqliteFiles files;
  const ItemFolder folder;
  auto parts = folder.parts();
  parts.vfs = FaultySqliteFiles::kName;
  const auto store = platform::makeSqliteItemStore(parts);
  ASSERT_EQ(store->reportDeviceSecurity({true, {}}), 0);
  const Dictionary bound =
      with(password("anna"), kSecAttrAccessible, kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly);
  ASSERT_EQ(store->add(withSecret(bound, kPassword)).status, 0);
  ASSERT_EQ(secretIn(*store, bound), kPassword);
  files.setDiskFull(true);
  EXPECT_EQ(store->reportDeviceSecurity({false, {}}), -34);
  EXPECT_EQ(secretIn(*store, bound), "-34");
  files.setDiskFull(false);
  EXPECT_EQ(secretIn(*store, bound), "-25300");
}

TEST(SqliteItemStoreFaults, StoreThatAnotherProcessChangesForTooLongIsNotAvailable) {
  const ItemFolder folder;
  auto parts = folder.parts();
  parts.patienceMilliseconds = 1;
  const auto store = platform::makeSqliteItemStore(parts);
  ASSERT_EQ(store->add(withSecret(password("anna"), kPassword)).status, 0);
  RawDatabase other(folder.database);
  other.run("BEGIN IMMEDIATE");
  EXPECT_EQ(store->add(password("bruno")).status, -25291);
  other.run("ROLLBACK");
  EXPECT_EQ(store->add(password("bruno")).status, 0);
  EXPECT_EQ(secretIn(*store, password("anna")), kPassword);
}

/// A child process that runs `body`, whose result is its exit code.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<bool()>& body) : process_(fork()) {
    if (process_ != 0) return;
    _exit([&]() noexcept { return body() ? 0 : 1; }());
  }
  void killNow() const { ::kill(process_, SIGKILL); }
  bool succeeded() const {
    int status = 0;
    return ::waitpid(process_, &status, 0) == process_ && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
  }

 private:
  const pid_t process_;
};

/// Replaces the secret of an account as often as it takes, at most 100 times.
bool replace(platform::ItemStore& store, std::string_view account, std::string_view secret) {
  for (int tries = 0; tries < 100; ++tries) {
    store.remove(password(account));
    const std::int32_t status = store.add(withSecret(password(account), secret)).status;
    if (status != -25299) return status == 0;
  }
  return false;
}

TEST(SqliteItemStoreFaults, ProcessesThatBeginAtOnceShareOneStoreAndOneKey) {
  const ItemFolder folder;
  std::vector<ChildProcess> children;
  for (int child = 0; child < 4; ++child)
    children.emplace_back([&folder, child] {
      const auto store = folder.open();
      const std::string own = "own" + std::to_string(child);
      bool works = true;
      for (int round = 0; round < 15; ++round)
        works =
            replace(*store, own, std::to_string(round)) && replace(*store, "shared", own) && works;
      return works;
    });
  for (const ChildProcess& child : children)
    EXPECT_TRUE(child.succeeded());
  const auto store = folder.open();
  for (int child = 0; child < 4; ++child)
    EXPECT_EQ(secretIn(*store, password("own" + std::to_string(child))), "14");
  EXPECT_EQ(secretIn(*store, password("shared")).substr(0, 3), "own");
}

TEST(SqliteItemStoreFaults, KillBetweenDeletionAndAdditionLosesNoOtherSecretAndBlocksNobody) {
  const ItemFolder folder;
  for (int kills = 0; kills < 20; ++kills) {
    ASSERT_TRUE(replace(*folder.open(), "kept", "safe"));
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const ChildProcess child([&] {
      const auto store = folder.open();
      for (int round = 0;; ++round) {
        replace(*store, "pin", "whole");
        store->remove(password("pin"));
        if (round == kills % 5 && ::write(ends[1], "x", 1) != 1) return false;
        if (round == kills % 5 && kills % 2 == 0) ::pause();
      }
    });
    char mark;
    ASSERT_EQ(::read(ends[0], &mark, 1), 1);
    child.killNow();
    EXPECT_FALSE(child.succeeded());
    ::close(ends[0]);
    ::close(ends[1]);
    const auto store = folder.open();
    const std::string pin = secretIn(*store, password("pin"));
    EXPECT_TRUE(pin == "-25300" || (pin == "whole" && kills % 2 == 1)) << pin;
    EXPECT_EQ(secretIn(*store, password("kept")), "safe");
  }
}

TEST(SqliteItemStoreFaults, ThreadsShareOneStore) {
  const ItemFolder folder;
  const auto store = folder.open();
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number)
    threads.emplace_back([&store, number] {
      const std::string own = "own" + std::to_string(number);
      for (int round = 0; round < 10; ++round) {
        EXPECT_TRUE(replace(*store, own, own));
        EXPECT_EQ(secretIn(*store, password(own)), own);
        store->setAuthenticator([](const auto&) { return 0; });
        EXPECT_EQ(store->reportDeviceSecurity({round % 2 == 0, {}}), 0);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
}  // namespace kelm::test
