// Delivery while threads log, delegates change, throw, or log themselves.

#include <signal.h>

#include <atomic>
#include <latch>
#include <sstream>
#include <thread>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using std::chrono::minutes;
using ::testing::ElementsAre;
using ::testing::StartsWith;

struct FunctionDelegate : VaspLogDelegate {
  using Function = std::function<void(LogLevel, std::string_view)>;
  explicit FunctionDelegate(Function itsCall) : call(std::move(itsCall)) {}
  void logwithLevel_aspect_from_threadName_message(LogLevel level, LogAspect, const char*,
                                                   std::string_view,
                                                   std::string_view message) override {
    call(level, message);
  }
  const Function call;
};

struct DeliveryTest : ::testing::Test {
  DeliveryTest() { VaspLogger::flush(minutes(1)); }
  ~DeliveryTest() override {
    VaspLogger::flush(minutes(1));
    VaspLogger::setLogDelegate(nullptr);
  }
  static void install(FunctionDelegate::Function function) {
    VaspLogger::setLogDelegate(std::make_shared<FunctionDelegate>(std::move(function)));
  }
  static void log(std::string_view text) {
    VaspLogger::logwithLevel_aspect_from_message(1, 0, "f", "%@", text);
  }

  TestPlatform services;
  TestScope scope{services};
};

/// "thread number" of a record, and whether each thread's numbers came one after the other.
struct OrderCheck {
  std::vector<int> last;
  std::atomic<int> inside{0};
  int delivered = 0;
  int disordered = 0;
  int overlapping = 0;

  void take(std::string_view message) {
    overlapping += inside.fetch_add(1) != 0;
    std::size_t thread = 0;
    int number = 0;
    std::istringstream(std::string(message)) >> thread >> number;
    disordered += number != ++last[thread];
    ++delivered;
    --inside;
  }
};

void logFromThreads(int threads, int each, const std::function<void()>& meanwhile) {
  std::latch start(threads + 1);
  std::vector<std::jthread> all;
  for (int t = 0; t < threads; ++t)
    all.emplace_back([&, t] {
      start.arrive_and_wait();
      for (int i = 0; i < each; ++i)
        VaspLogger::logwithLevel_aspect_from_message(1, 0, "f", "%d %d", t, i);
    });
  start.arrive_and_wait();
  meanwhile();
}

TEST_F(DeliveryTest, RecordsArriveOnceInEachThreadsOrderOneAtATimeWhileDelegatesAreExchanged) {
  constexpr int kThreads = 8;
  constexpr int kEach = 5000;
  OrderCheck check;
  check.last.assign(kThreads, -1);
  const auto take = [&](LogLevel, std::string_view message) { check.take(message); };
  install(take);
  logFromThreads(kThreads, kEach, [&] {
    for (int i = 0; i < 2000; ++i)
      install(take);
  });
  ASSERT_TRUE(VaspLogger::flush(minutes(1)));
  EXPECT_EQ(check.delivered, kThreads * kEach);
  EXPECT_EQ(check.disordered, 0);
  EXPECT_EQ(check.overlapping, 0);
}

TEST_F(DeliveryTest, FirstUseFromManyThreadsInstallsOneDefaultDelegate) {
  VaspLogger::setLogDelegate(nullptr);
  logFromThreads(8, 50, [] {});
  ASSERT_TRUE(VaspLogger::flush(minutes(1)));
  EXPECT_EQ(services.systemLog->entries().size(), 8 * 50U);
  EXPECT_EQ(services.systemLog->opened(), 1U);
}

TEST_F(DeliveryTest, OrderOfLoggingHoldsAcrossThreadsThatWaitForEachOther) {
  const LogCapture capture;
  log("one");
  std::jthread([] { log("two"); }).join();
  log("three");
  EXPECT_THAT(capture.lines(), ElementsAre("INFO one", "INFO two", "INFO three"));
}

TEST_F(DeliveryTest, CriticalRecordDoesNotWaitForTheQueue) {
  std::latch entered(1);
  std::latch leave(1);
  std::atomic<int> critical{0};
  install([&](LogLevel level, std::string_view) {
    if (level == log_level::kCritical) return void(++critical);
    entered.count_down();
    leave.wait();
  });
  log("blocks the queue");
  entered.wait();
  EXPECT_THROW(VaspLogger::logEventAndExit("now"), Exception);
  EXPECT_EQ(critical, 1);
  EXPECT_FALSE(VaspLogger::flush(std::chrono::milliseconds(0)));
  EXPECT_FALSE(VaspLogger::flush(std::chrono::milliseconds::min()));
  leave.count_down();
  EXPECT_TRUE(VaspLogger::flush(std::chrono::milliseconds::max()));
}

TEST_F(DeliveryTest, ThrowingDelegateIsReportedAndTheNextRecordGoesOn) {
  install([](LogLevel, std::string_view message) {
    if (message == "odd") throw 7;
    throw std::runtime_error("cannot keep " + std::string(message));
  });
  log("one");
  log("odd");
  log(std::string(1001, 'x'));
  ASSERT_TRUE(VaspLogger::flush(minutes(1)));
  const std::string pieces = "LOG ERROR cannot keep [";
  EXPECT_THAT(services.console->lines(),
              ElementsAre("LOG ERROR cannot keep one", "LOG ERROR unknown exception",
                          StartsWith(pieces), StartsWith(pieces)));
  EXPECT_THROW(VaspLogger::logEventAndExit("end"), Exception);
  EXPECT_EQ(services.console->lines().size(), 5U);
}

TEST_F(DeliveryTest, LoggingThreadLeavesTheHostsSignalsToItsOwnThreads) {
  sigset_t blocked;
  install([&](LogLevel, std::string_view) { pthread_sigmask(SIG_BLOCK, nullptr, &blocked); });
  log("look");
  ASSERT_TRUE(VaspLogger::flush(minutes(1)));
  for (const int signal : {SIGTERM, SIGCHLD, SIGUSR1, SIGPIPE})
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
}

TEST_F(DeliveryTest, DelegateMayLogAndExchangeItselfWithinACall) {
  std::vector<std::string> seen;
  std::atomic<bool> flushed{true};
  install([&](LogLevel, std::string_view message) {
    seen.emplace_back(message);
    if (message != "start") return;
    log("from inside");
    flushed = VaspLogger::flush(minutes(1));
    install([&](LogLevel, std::string_view text) { seen.push_back("new: " + std::string(text)); });
  });
  log("start");
  ASSERT_TRUE(VaspLogger::flush(minutes(1)));  // past "start"
  ASSERT_TRUE(VaspLogger::flush(minutes(1)));
  EXPECT_FALSE(flushed);
  EXPECT_THAT(seen, ElementsAre("start", "new: from inside"));
}

}  // namespace
}  // namespace kelm::testing
