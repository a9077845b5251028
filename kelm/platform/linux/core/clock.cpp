#include "kelm/platform/clock.h"

#include <time.h>

#include <thread>

namespace kelm::platform {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

class SystemClock : public Clock {
 public:
  Date now() const override {
    const timespec time = read(CLOCK_REALTIME);
    return {static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9};
  }

  std::int64_t monotonicNanoseconds() const override {
    const timespec time = read(CLOCK_MONOTONIC);
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
  }

  void sleep(std::chrono::nanoseconds duration) override { std::this_thread::sleep_for(duration); }

 private:
  static timespec read(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time;
  }
};

}  // namespace

std::shared_ptr<Clock> Clock::makeSystem() { return std::make_shared<SystemClock>(); }

}  // namespace kelm::platform
