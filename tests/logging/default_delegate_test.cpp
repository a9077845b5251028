#include "kelm/logging/vasp_logger_default_delegate.h"

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/logging/vasp_logger_processor_nslog_impl.h"
#include "kelm/logging/zu_os_logger.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct DefaultDelegateTest : ::testing::Test {
  TestPlatform services;
  TestScope scope{services};

  static void deliver(VaspLogDelegate& delegate, LogLevel level, LogAspect aspect,
                      std::string_view message) {
    delegate.logwithLevel_aspect_from_threadName_message(level, aspect, "-[X y]", "Thread-1",
                                                         message);
  }
  /// The one line that reaches the system log.
  std::string lineOf(LogLevel level, LogAspect aspect, std::string_view message) {
    const std::size_t before = services.systemLog->entries().size();
    deliver(delegate, level, aspect, message);
    const auto entries = services.systemLog->entries();
    return entries.size() == before + 1 ? entries.back().text : "(none)";
  }

  VaspLoggerDefaultDelegate delegate;
};

TEST_F(DefaultDelegateTest, LineIsPrefixLabelsBlankAndMessage) {
  const struct {
    LogLevel level;
    LogAspect aspect;
    std::string_view message, line;
  } cases[] = {
      {0, 0, "m", "\xE2\x97\xAF[DEBUG] [None] m"},
      {1, 0, "m", "\xF0\x9F\x94\xB5[INFO] [None] m"},
      {2, 0, "m", "\xE2\x9A\xA0\xEF\xB8\x8F[WARN] [None] m"},
      {3, 0, "m", "\xF0\x9F\x94\xB4[ERROR] [None] m"},
      {4, 0, "m", "\xE2\x9D\x97[FATAL] [None] m"},
      {5, 0, "m", "\xE2\x9D\x97[FATAL] [None] m"},
      {7, 2, "m", "\xE2\x9D\x93[UNKNOW] [PARAM_RES] m"},
      {~0ULL, 0, "m", "\xE2\x9D\x93[UNKNOW] [None] m"},
      {3, 0x201000, "Invalid filename: It is nil or empty",
       "🔴[ERROR] [FILE][FRONTEND] Invalid filename: It is nil or empty"},
      {1, static_cast<LogAspect>(0x80000000), "m", "🔵[INFO] [FRONTENDD] m"},
      {1, -1, "m",
       "🔵[INFO] [PARAM_RES][INTERNAL][CONTEXTS][EXTERNAL_EVENTS][COMPONENTS][PERMISSIONS][STACK]"
       "[NET][CRYPTO][FRAME][LIFE][FILE][ACTIONS][CONDITIONS][STYLE][DS][COMPONENT_UPDATE]"
       "[TRIGGERS][UPDATER][GPS][FRONTEND][ALERT][FONT][JS][WEBVIEW][TOUCHID][KEYCHAIN][MT]"
       "[PUSH_NOTIFICATIONS][TRACE][FRONTENDD] m"},
      {1, 0x100, "100% of %@ in\ntwo lines\n", "🔵[INFO] [NET] 100% of %@ in\ntwo lines\n"},
      {1, 0x100, "odd \xFF\xC3 bytes", "🔵[INFO] [NET] odd \uFFFD\uFFFD bytes"},
  };
  for (int round = 0; round < 2; ++round)  // a kept prefix is as good as a new one
    for (const auto& c : cases)
      EXPECT_EQ(lineOf(c.level, c.aspect, c.message), c.line);
}

struct OtherKind : VaspLoggerDefaultDelegate {
  explicit OtherKind(LogProcessorKind number) : kind(number) {}
  LogProcessorKind loggerProcessor() const override { return kind; }
  LogProcessorKind kind;
};

TEST_F(DefaultDelegateTest, ProcessorIsMadeOnceAndKeptWhateverTheKindBecomes) {
  OtherKind changing(0);
  EXPECT_EQ(changing.getLoggerProcessorImpl(), nullptr);
  changing.kind = 3;
  const auto processor = changing.getLoggerProcessorImpl();
  EXPECT_NE(std::dynamic_pointer_cast<VaspLoggerProcessor_NSLogImpl>(processor), nullptr);
  changing.kind = 0;
  EXPECT_EQ(changing.getLoggerProcessorImpl(), processor);
}

TEST_F(DefaultDelegateTest, KindsWhoseLibraryIsMissingSaySoOnce) {
  for (const LogProcessorKind kind : {1, 2}) {
    OtherKind dropping(kind);
    deliver(dropping, 3, 0, "lost");
    deliver(dropping, 3, 0, "lost");
  }
  EXPECT_THAT(
      services.console->lines(),
      ElementsAre(
          "LOG ERROR log processor 1 is missing, records are dropped: include its header of "
          "kelm/logging/processors and link KelmCore::processors",
          "LOG ERROR log processor 2 is missing, records are dropped: include its header of "
          "kelm/logging/processors and link KelmCore::processors"));
  EXPECT_THAT(services.systemLog->entries(), ElementsAre());
}

struct FailingSystemLog : platform::SystemLog {
  std::unique_ptr<Channel> open(std::string_view, std::string_view) override {
    throw std::runtime_error("no journal");
  }
};

struct SystemLogProcessorTest : DefaultDelegateTest {
  SystemLogProcessorTest() { log.messageData = dataOf("lost"); }

  KelmLogModel log;
  VaspLoggerProcessor_NSLogImpl processor;
};

TEST_F(SystemLogProcessorTest, EntryStandsUnderTheBundleWhateverTheLevel) {
  for (const std::int64_t level : {0, 4, -1})
    ZuOSLogger::processLogData_level(bytesOf("text %@ %n"), level);
  const MemorySystemLog::Entry entry{"com.example.till", "com.trevalo.logs", "text %@ %n"};
  EXPECT_THAT(services.systemLog->entries(), ElementsAre(entry, entry, entry));
  EXPECT_EQ(services.systemLog->opened(), 1U);
}

TEST_F(SystemLogProcessorTest, FailingSystemLogIsReportedWithAStackAndDropsTheRecord) {
  const platform::ScopedService<platform::SystemLog> inner(std::make_shared<FailingSystemLog>());
  processor.processLog(log);
  EXPECT_THAT(services.console->lines(), ElementsAre("LOG ERROR no journal", HasSubstr(" 0x")));
}

TEST_F(SystemLogProcessorTest, MissingBundleIdentifierStopsTheProcess) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  services.bundle->setIdentifier(std::nullopt);
  const platform::ScopedService<platform::Console> inner(platform::Console::makeSystem());
  EXPECT_DEATH(processor.processLog(log), "LOG ERROR the application has no bundle identifier");
}

}  // namespace
}  // namespace kelm::testing
