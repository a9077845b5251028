#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/logging/processors/vasp_logger_processor_filesystem_impl.h"
#include "kelm/testing/temporary_folder.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

KelmLogModel recordOf(std::string_view line, LogLevel level = log_level::kInfo) {
  KelmLogModel log;
  log.level = level;
  log.messageData = dataOf(line);
  return log;
}

struct FileProcessorTest : ::testing::Test {
  TestPlatform services;
  TestScope scope{services};
  MemoryFileSystem& files = *services.fileSystem;
  const std::string documents = services.homeFolders->documents();
  std::unique_ptr<VaspLoggerProcessor_FilesystemImpl> processor;

  void begin(LogFileLimits limits = {}) {
    processor = std::make_unique<VaspLoggerProcessor_FilesystemImpl>(limits);
    services.dispatcher->runUntilIdle();
  }
  void log(std::string_view line, LogLevel level = log_level::kInfo) {
    processor->processLog(recordOf(line, level));
  }
  void pass(int duration) { services.dispatcher->advance(milliseconds(duration)); }
  std::string content(const std::string& path) const {
    const auto bytes = files.readFile(path);
    return bytes ? std::string(textOf(*bytes)) : "(none)";
  }
  std::string content() const { return content(processor->filename()); }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    const auto entries = files.list(documents);
    for (const auto& entry : *entries)
      result.push_back(entry.name);
    return result;
  }
};

TEST_F(FileProcessorTest, LinesRunOnBehindTheStartAtTheNextHalfSecondOfTheTimer) {
  begin();
  EXPECT_EQ(processor->filename(), documents + "/1700000000000.txt");
  pass(300);
  for (const std::string_view line : {"one", "same", "", "two\n", "same"})
    log(line);
  log("four", log_level::kFatal);
  pass(199);
  EXPECT_EQ(content(), "START\n");
  pass(1);
  EXPECT_EQ(content(), "START\nonesametwo\nfour");
  log("same");
  pass(500);
  EXPECT_EQ(content(), "START\nonesametwo\nfoursame");
}

TEST_F(FileProcessorTest, CriticalRecordStandsAtOnceInAFileOfItsOwn) {
  begin();
  log("first", log_level::kCritical);
  log("second", log_level::kCritical);
  EXPECT_EQ(content(documents + "/CRITICAL_1700000000000.txt"), "second");
  pass(1000);
  EXPECT_EQ(content(), "START\n");
}

TEST_F(FileProcessorTest, StaleFlushWritesNothingAndTheNextTickRetries) {
  begin();
  log("late");
  processor->doStoreLogs({services.clock->now().secondsSince1970 - 0.02});
  EXPECT_EQ(content(), "START\n");
  processor->doStoreLogs({services.clock->now().secondsSince1970 - 0.01});
  EXPECT_EQ(content(), "START\nlate");
}

TEST_F(FileProcessorTest, LinesOfAFailingDiskAreLostAndLaterOnesArrive) {
  const struct {
    std::string_view name;
    std::function<void(FileProcessorTest&)> breakIt, repair;
    std::string_view expected;
  } cases[] = {
      {"full", [](auto& t) { t.files.failFromCall(1, ENOSPC); },
       [](auto& t) { t.files.stopFailing(); }, "START\nbefore-after-"},
      {"folder removed", [](auto& t) { static_cast<void>(t.files.remove(t.documents)); },
       [](auto& t) {
         static_cast<void>(t.files.createDirectories(t.documents));
         static_cast<void>(t.files.replaceFile(t.processor->filename(), bytesOf("NEW\n")));
       },
       "NEW\nafter-"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    begin();
    log("before-");
    pass(500);
    c.breakIt(*this);
    log("lost-");
    log("critical", log_level::kCritical);
    pass(500);
    c.repair(*this);
    log("after-");
    pass(500);
    EXPECT_EQ(content(), c.expected);
    EXPECT_THAT(services.console->lines(), ElementsAre());
  }
}

TEST_F(FileProcessorTest, UnwritableFolderAtTheStartLosesLinesInSilence) {
  files.failFromCall(1, EACCES);
  begin();
  log("lost");
  pass(500);
  files.stopFailing();
  log("lost too");
  pass(500);
  EXPECT_EQ(content(), "(none)");
}

TEST_F(FileProcessorTest, NothingPendingMakesNoCall) {
  begin();
  const auto calls = files.calls();
  pass(3600 * 1000);
  EXPECT_EQ(files.calls(), calls);
  EXPECT_FALSE(services.dispatcher->mainLoop().runPending());
}

TEST_F(FileProcessorTest, BoundKeepsTheNewestAndSaysHowManyWent) {
  LogFileLimits limits;
  limits.pendingBytes = 10;
  begin(limits);
  for (const std::string_view line : {"aaaa", "bbbb", "cccc", "dddd"})
    log(line);
  pass(500);
  EXPECT_EQ(content(), "START\n⚠️[WARN] [None] 2 log lines were dropped: no roomccccdddd");
  log("eeee");
  pass(500);
  EXPECT_TRUE(content().ends_with("ddddeeee"));
}

TEST_F(FileProcessorTest, OldestLogFilesGoBeyondTheLimitsAndOtherFilesStay) {
  static_cast<void>(files.createDirectories(documents));
  for (const auto* name : {"1600000000000.txt", "CRITICAL_1600000000001.txt", "1600000000002.txt",
                           "notes.txt", "12a.txt"})
    static_cast<void>(files.replaceFile(documents + '/' + name, bytesOf("0123456789")));
  LogFileLimits limits;
  limits.files = 3;
  begin(limits);
  EXPECT_THAT(names(), ElementsAre("12a.txt", "1600000000002.txt", "1700000000000.txt",
                                   "CRITICAL_1600000000001.txt", "notes.txt"));
  limits.fileBytes = 16;
  pass(1);
  begin(limits);
  EXPECT_THAT(names(),
              ElementsAre("12a.txt", "1700000000000.txt", "1700000000001.txt", "notes.txt"));
}

TEST_F(FileProcessorTest, DefaultDelegateMakesKindTwoAndAFlushOfTheLoggerWritesItsLines) {
  struct Chosen : VaspLoggerDefaultDelegate {
    LogProcessorKind loggerProcessor() const override { return log_processor::kFile; }
  };
  const auto delegate = std::make_shared<Chosen>();
  delegate->logwithLevel_aspect_from_threadName_message(1, 0x1000, "x", "Thread-1", "kept");
  EXPECT_TRUE(delegate->flush(milliseconds(100)));
  EXPECT_EQ(content(documents + "/1700000000000.txt"), "START\n🔵[INFO] [FILE] kept");
}

TEST_F(FileProcessorTest, AppendingJoinsAnyNumberOfPiecesAndMakesNoFile) {
  const TemporaryFolder folder;
  const auto real = platform::FileSystem::makeSystem();
  const std::pair<platform::FileSystem*, std::string> places[] = {{real.get(), folder.path() + "/"},
                                                                  {&files, "/"}};
  std::vector<DataView> pieces;
  std::string all = "START\n";
  for (int number = 0; number < 1500; ++number) {  // more than one system call takes
    pieces.push_back(bytesOf(number % 3 == 0 ? "" : "piece,"));
    all += textOf(pieces.back());
  }
  for (const auto& [system, prefix] : places) {
    EXPECT_TRUE(system->appendToFile(prefix + "missing", pieces));
    EXPECT_FALSE(system->exists(prefix + "missing"));
    EXPECT_TRUE(system->appendToFile(prefix, pieces));
    ASSERT_FALSE(system->replaceFile(prefix + "log", bytesOf("START\n")));
    EXPECT_FALSE(system->appendToFile(prefix + "log", pieces));
    EXPECT_EQ(textOf(*system->readFile(prefix + "log")), all);
  }
}

/// A disk that hangs until it is told to go on.
struct HangingFiles : MemoryFileSystem {
  Failure appendToFile(const std::string& path, std::span<const DataView> pieces) override {
    std::unique_lock lock(mutex);
    isHanging = true;
    changed.notify_all();
    changed.wait(lock, [&] { return released; });
    return MemoryFileSystem::appendToFile(path, pieces);
  }
  std::mutex mutex;
  std::condition_variable changed;
  bool isHanging = false, released = false;
};

TEST_F(FileProcessorTest, HangingDiskHoldsUpNeitherTheCallerNorTheMainLoop) {
  const platform::ScopedService<platform::Clock> clock(platform::Clock::makeSystem());
  const platform::ScopedService<platform::Dispatcher> real(platform::Dispatcher::makeSystem());
  const auto hanging = std::make_shared<HangingFiles>();
  const platform::ScopedService<platform::FileSystem> disk(hanging);
  VaspLoggerProcessor_FilesystemImpl own;
  own.processLog(recordOf("first"));
  EXPECT_FALSE(own.flush(milliseconds(1)));
  {
    std::unique_lock lock(hanging->mutex);
    hanging->changed.wait(lock, [&] { return hanging->isHanging; });
  }
  own.processLog(recordOf("second"));
  own.processLog(recordOf("critical", log_level::kCritical));
  EXPECT_TRUE(platform::current<platform::Dispatcher>()->mainLoop().runUntil(
      [] { return true; }, std::chrono::seconds(1)));
  {
    const std::lock_guard lock(hanging->mutex);
    hanging->released = true;
    hanging->changed.notify_all();
  }
  EXPECT_TRUE(own.flush(std::chrono::seconds(60)));
  EXPECT_EQ(textOf(*hanging->readFile(own.filename())), "START\nfirstsecond");
}

}  // namespace
}  // namespace kelm::testing
