// link: kelm_logging
// What a caller pays for a record, and how fast records are drained, beside an asynchronous logger
// of the same kind and beside the textbook call stack.

#include <benchmark/benchmark.h>
#include <execinfo.h>
#include <spdlog/async.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kelm/logging/vasp_logger.h"

namespace {

using Clock = std::chrono::steady_clock;

double nanoseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::nano>(duration).count();
}

/// A clock for single calls: the processor's own counter where there is one that programs may read,
/// for reading the system's clock costs about as much as the call.
class Ticks {
 public:
  static std::uint64_t now() {
#ifdef __x86_64__
    unsigned processor = 0;
    return __builtin_ia32_rdtscp(&processor);
#else
    return static_cast<std::uint64_t>(Clock::now().time_since_epoch().count());
#endif
  }
  /// The nanoseconds from `start` to `end`, less what the two readings cost.
  static double cost(std::uint64_t start, std::uint64_t end) {
    static const Ticks kTicks;
    const auto ticks = static_cast<double>(end - start);
    return std::max((ticks - kTicks.readings_) * kTicks.nanosecondsEach_, 0.0);
  }

 private:
  Ticks() {
    std::array<std::uint64_t, 10001> costs;
    for (std::uint64_t& cost : costs) {
      const std::uint64_t start = now();
      cost = now() - start;
    }
    std::nth_element(costs.begin(), costs.begin() + costs.size() / 2, costs.end());
    readings_ = static_cast<double>(costs[costs.size() / 2]);
    const auto begin = Clock::now();
    const std::uint64_t start = now();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    nanosecondsEach_ = nanoseconds(Clock::now() - begin) / static_cast<double>(now() - start);
  }

  double readings_ = 0;
  double nanosecondsEach_ = 1;
};

class Counter : public kelm::VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel, kelm::LogAspect, const char*,
                                                   std::string_view, std::string_view) override {}
};

struct Kelm {
  Kelm() { kelm::VaspLogger::setLogDelegate(std::make_shared<Counter>()); }
  ~Kelm() { drain(); }
  void info(int number, const char* queue) {
    kelm::VaspLogger::logwithLevel_aspect_from_message(
        kelm::log_level::kInfo, 0x200004, "-[Bench info]",
        "Payload %d of queue %@ was stored and waits for its turn now", number, queue);
  }
  void text(const std::string& text) {
    kelm::VaspLogger::logwithLevel_aspect_from_message(kelm::log_level::kInfo, 0x200004,
                                                       "-[Bench text]", "%@", text);
  }
  void drain() {
    if (!kelm::VaspLogger::flush(std::chrono::minutes(1))) std::abort();
  }
};

struct Spdlog {
  class Sink : public spdlog::sinks::base_sink<std::mutex> {
   public:
    std::atomic<std::uint64_t> taken{0};

   private:
    void sink_it_(const spdlog::details::log_msg&) override {
      taken.store(taken.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    void flush_() override {}
  };

  void info(int number, const char* queue) {
    logger->info("Payload {} of queue {} was stored and waits for its turn now", number, queue);
    sent.fetch_add(1, std::memory_order_relaxed);
  }
  void text(const std::string& text) {
    logger->info("{}", text);
    sent.fetch_add(1, std::memory_order_relaxed);
  }
  void drain() {
    while (sink->taken.load(std::memory_order_acquire) < sent)
      std::this_thread::yield();
  }

  std::shared_ptr<spdlog::details::thread_pool> pool =
      std::make_shared<spdlog::details::thread_pool>(8192, 1);
  std::shared_ptr<Sink> sink = std::make_shared<Sink>();
  std::shared_ptr<spdlog::async_logger> logger = std::make_shared<spdlog::async_logger>(
      "bench", sink, pool, spdlog::async_overflow_policy::block);
  std::atomic<std::uint64_t> sent{0};
};

/// Twenty calls, each timed, then a pause of a millisecond, as an application logs that serves one
/// request after another.
template <class Logger>
void burst(benchmark::State& state) {
  constexpr int kCalls = 20;
  static const char* const kQueues[] = {"events", "orders", "metrics", "pushes"};
  Logger logger;
  std::vector<double> costs;
  costs.reserve(static_cast<std::size_t>(state.max_iterations) * kCalls);
  int number = 0;
  for (auto _ : state) {
    double sum = 0;
    for (int i = 0; i < kCalls; ++i) {
      const std::uint64_t start = Ticks::now();
      logger.info(++number, kQueues[i % 4]);
      costs.push_back(Ticks::cost(start, Ticks::now()));
      sum += costs.back();
    }
    state.SetIterationTime(sum * 1e-9 / kCalls);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  logger.drain();
  std::sort(costs.begin(), costs.end());
  state.counters["p50"] = costs[costs.size() / 2];
  state.counters["p99"] = costs[costs.size() * 99 / 100];
}
BENCHMARK_TEMPLATE(burst, Kelm)->Name("log_burst/kelm")->UseManualTime()->Iterations(300);
BENCHMARK_TEMPLATE(burst, Spdlog)->Name("log_burst/peer")->UseManualTime()->Iterations(300);

/// As many records as fast as `range(0)` threads can, until the last is delivered.
template <class Logger>
void saturated(benchmark::State& state) {
  constexpr int kRecords = 200'000;
  const int threads = static_cast<int>(state.range(0));
  Logger logger;
  for (auto _ : state) {
    std::vector<std::jthread> all;
    all.reserve(static_cast<std::size_t>(threads));
    for (int t = 0; t < threads; ++t) {
      all.emplace_back([&, t] {
        for (int i = 0; i < kRecords / threads; ++i)
          logger.info(i, t % 2 == 0 ? "even" : "odd");
      });
    }
    all.clear();
    logger.drain();
  }
  state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK_TEMPLATE(saturated, Kelm)
    ->Name("log_saturated/kelm")
    ->Arg(1)
    ->Arg(4)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Iterations(2);
BENCHMARK_TEMPLATE(saturated, Spdlog)
    ->Name("log_saturated/peer")
    ->Arg(1)
    ->Arg(4)
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Iterations(2);

/// Ten calls, then the records are drained, untimed.
template <class Call, class Drain>
void timed(benchmark::State& state, const Call& call, const Drain& drain) {
  constexpr int kCalls = 10;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int i = 0; i < kCalls; ++i)
      call();
    state.SetIterationTime(nanoseconds(Clock::now() - start) * 1e-9 / kCalls);
    drain();
  }
}

/// Runs `function` below about `depth` frames.
[[gnu::noinline]] void atDepth(int depth, const std::function<void()>& function) {
  if (depth > 0)
    atDepth(depth - 1, function);
  else
    function();
  benchmark::ClobberMemory();  // keeps the frame
}

constexpr int kStackDepth = 22;  // about 30 with the frames of the benchmark itself

void errorWithStack(benchmark::State& state) {
  Kelm logger;
  atDepth(kStackDepth, [&] {
    int number = 0;
    timed(
        state,
        [&] {
          kelm::VaspLogger::logwithLevel_aspect_from_message(
              kelm::log_level::kError, 0x200004, "-[Bench error]", "Cant store payload %d of %@",
              ++number, "events");
        },
        [&] { logger.drain(); });
  });
}
BENCHMARK(errorWithStack)->Name("log_error_stack/kelm")->UseManualTime()->Iterations(200);

void textbookStack(benchmark::State& state) {
  atDepth(kStackDepth, [&] {
    int number = 0;
    timed(
        state,
        [&] {
          std::string text = "Cant store payload " + std::to_string(++number) + " of events\n";
          void* frames[51];
          const int count = backtrace(frames, 51);
          char** const symbols = backtrace_symbols(frames, count);
          for (int i = 1; i < count; ++i)
            text.append(symbols[i]).append("\n");
          std::free(symbols);
          benchmark::DoNotOptimize(text.data());
        },
        [] {});
  });
}
BENCHMARK(textbookStack)->Name("log_error_stack/peer")->UseManualTime()->Iterations(200);

/// How the caller's cost grows with the length of the message.
void length(benchmark::State& state) {
  Kelm logger;
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  timed(
      state, [&] { logger.text(text); }, [&] { logger.drain(); });
}
BENCHMARK(length)
    ->Name("curve/log_length")
    ->UseManualTime()
    ->Iterations(50)
    ->RangeMultiplier(4)
    ->Range(16, 1 << 20);

}  // namespace
