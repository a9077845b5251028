#include "kelm/platform/linux/core/task_loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <exception>
#include <limits>

#include "kelm/base/error.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
constexpr Duration kLongestWait = std::chrono::hours(24 * 365);

int opened(int descriptor) {
  if (descriptor < 0)
    throw Exception(exception_name::kGeneric, posixError(errno).localizedDescription());
  return descriptor;
}

/// `start` plus `delay`, at most the largest time; a negative delay is none.
std::int64_t later(std::int64_t start, std::int64_t delay) {
  constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
  delay = std::max<std::int64_t>(delay, 0);
  return delay > kLast - start ? kLast : start + delay;
}

}  // namespace

std::int64_t steadyNanoseconds() {
  return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

class TaskLoop::LoopTimer : public Timer {
 public:
  LoopTimer(std::shared_ptr<TaskLoop> loop, std::shared_ptr<Appointment> appointment)
      : loop_(std::move(loop)), appointment_(std::move(appointment)) {}
  ~LoopTimer() override { loop_->stop(*appointment_); }

 private:
  std::shared_ptr<TaskLoop> loop_;
  std::shared_ptr<Appointment> appointment_;
};

/// Ends a watch; the loop's descriptors are told of it first, so that its number may be used again.
class TaskLoop::LoopWatch : public Timer {
 public:
  LoopWatch(std::shared_ptr<TaskLoop> loop, std::shared_ptr<Watch> watch, std::uint64_t number,
            int descriptor)
      : loop_(std::move(loop)),
        watch_(std::move(watch)),
        number_(number),
        descriptor_(descriptor) {}
  ~LoopWatch() override {
    watch_->stopped = true;
    epoll_ctl(loop_->poller_.number(), EPOLL_CTL_DEL, descriptor_, nullptr);
    const Lock lock(loop_->mutex_);
    loop_->watches_.erase(number_);
  }

 private:
  const std::shared_ptr<TaskLoop> loop_;
  const std::shared_ptr<Watch> watch_;
  const std::uint64_t number_;
  const int descriptor_;
};

TaskLoop::TaskLoop()
    : poller_(opened(epoll_create1(EPOLL_CLOEXEC))),
      event_(opened(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))),
      alarm_(opened(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))) {
  for (const int source : {event_.number(), alarm_.number()}) {
    epoll_event interest{};
    interest.events = EPOLLIN | EPOLLET;  // told once, and never read
    interest.data.u64 = 0;
    opened(epoll_ctl(poller_.number(), EPOLL_CTL_ADD, source, &interest));
  }
}

void TaskLoop::post(Task task) {
  bool asleep = false;
  {
    const Lock lock(mutex_);
    posted_.push_back(std::move(task));
    asleep = !std::exchange(awake_, true);
  }
  if (asleep) wake();
}

void TaskLoop::postAfter(Duration delay, Task task) {
  auto appointment = std::make_shared<Appointment>();
  appointment->task = std::move(task);
  const std::int64_t time = later(steadyNanoseconds(), delay.count());
  const Lock lock(mutex_);
  schedule(std::move(appointment), time);
}

std::unique_ptr<Timer> TaskLoop::every(Duration interval, Task task) {
  auto appointment = std::make_shared<Appointment>();
  appointment->task = std::move(task);
  appointment->interval = std::max<std::int64_t>(interval.count(), 1);
  const std::int64_t time = later(steadyNanoseconds(), appointment->interval);
  {
    const Lock lock(mutex_);
    schedule(appointment, time);
  }
  return std::make_unique<LoopTimer>(shared_from_this(), std::move(appointment));
}

void TaskLoop::postAndWait(const Task& task) {
  struct Outcome {
    Mutex mutex;
    std::condition_variable_any changed;
    bool done = false;
    std::exception_ptr failure;
  } outcome;
  post([&task, &outcome] {
    std::exception_ptr failure;
    try {
      task();
    } catch (...) {
      failure = std::current_exception();
    }
    const Lock lock(outcome.mutex);
    outcome.failure = std::move(failure);
    outcome.done = true;
    outcome.changed.notify_one();  // under the lock: the waiter may take the outcome away
  });
  outcome.mutex.lock();
  while (!outcome.done)
    outcome.changed.wait(outcome.mutex);
  outcome.mutex.unlock();
  if (outcome.failure) std::rethrow_exception(outcome.failure);
}

bool TaskLoop::postAndWaitFor(Duration limit, Task task) {
  struct Outcome {
    Mutex mutex;
    std::condition_variable_any changed;
    bool done KELM_GUARDED_BY(mutex) = false;
  };
  const auto outcome = std::make_shared<Outcome>();  // a late task outlives the call
  post([task = std::move(task), outcome] {
    runReporting(task);
    const Lock lock(outcome->mutex);
    outcome->done = true;
    outcome->changed.notify_one();
  });
  const auto end = std::chrono::steady_clock::now() + std::min<Duration>(limit, kLongestWait);
  const Lock lock(outcome->mutex);
  while (!outcome->done &&
         outcome->changed.wait_until(outcome->mutex, end) == std::cv_status::no_timeout) {
  }
  return outcome->done;
}

std::unique_ptr<Timer> TaskLoop::watch(int descriptor, Readiness wanted, Task task) {
  auto watch = std::make_shared<Watch>();
  watch->task = std::move(task);
  std::uint64_t number = 0;
  {
    const Lock lock(mutex_);
    number = nextWatch_++;
    watches_.emplace(number, watch);
  }
  auto result =
      std::make_unique<LoopWatch>(shared_from_this(), std::move(watch), number, descriptor);
  epoll_event interest{};
  interest.events = EPOLLET | (wanted == Readiness::Writable ? EPOLLOUT : EPOLLRDHUP);
  interest.data.u64 = number;
  opened(epoll_ctl(poller_.number(), EPOLL_CTL_ADD, descriptor, &interest));
  return result;
}

bool TaskLoop::runNext() {
  if (due_.empty()) collectDue();
  if (due_.empty()) return false;
  const Task task = std::move(due_.front());
  due_.pop_front();
  runReporting(task);
  return true;
}

bool TaskLoop::runPending() {
  awaitDescriptors(0);
  collectDue();
  bool ran = false;
  for (std::size_t count = due_.size(); count > 0 && !due_.empty(); --count)
    ran = runNext();
  settle();
  return ran;
}

void TaskLoop::settle() {
  if (!prepareToSleep()) wake();
}

void TaskLoop::sleep(Duration limit) {
  if (!prepareToSleep()) return;
  const auto milliseconds = limit.count() / kNanosecondsPerMillisecond;
  const bool isShort = milliseconds < std::numeric_limits<int>::max();
  awaitDescriptors(isShort ? static_cast<int>(std::max<std::int64_t>(milliseconds, 0)) + 1 : -1);
}

bool TaskLoop::isEmpty() {
  const Lock lock(mutex_);
  return due_.empty() && posted_.empty() && appointments_.empty();
}

void TaskLoop::schedule(std::shared_ptr<Appointment> appointment, std::int64_t time) {
  appointment->place = {time, nextAge_++};
  const auto place = appointments_.emplace(appointment->place, std::move(appointment)).first;
  if (!awake_ && place == appointments_.begin()) armTimer();
}

void TaskLoop::stop(Appointment& appointment) {
  appointment.stopped = true;
  bool asleep = false;
  {
    const Lock lock(mutex_);
    appointments_.erase(appointment.place);
    asleep = !std::exchange(awake_, true);
  }
  if (asleep) wake();  // a runner that waited for this timer alone may now end
}

void TaskLoop::collectDue() {
  const Lock lock(mutex_);
  awake_ = true;
  if (due_.empty())
    due_.swap(posted_);
  else
    std::move(posted_.begin(), posted_.end(), std::back_inserter(due_));
  posted_.clear();
  if (appointments_.empty()) return;
  const std::int64_t now = steadyNanoseconds();
  while (!appointments_.empty() && appointments_.begin()->first.first <= now) {
    const auto appointment = appointments_.extract(appointments_.begin()).mapped();
    if (appointment->interval == 0) {
      due_.push_back(std::move(appointment->task));
      continue;
    }
    due_.push_back([appointment] {
      if (!appointment->stopped) appointment->task();
    });
    const std::int64_t planned = appointment->place.first;
    const std::int64_t missed = (now - planned) / appointment->interval;
    schedule(appointment, later(planned, (missed + 1) * appointment->interval));
  }
}

/// False when something is due; else posters wake the runner from now on.
bool TaskLoop::prepareToSleep() {
  const Lock lock(mutex_);
  awake_ = !due_.empty() || !posted_.empty();
  if (!awake_) armTimer();
  return !awake_;
}

void TaskLoop::armTimer() {
  const std::int64_t time = appointments_.empty() ? 0 : appointments_.begin()->first.first;
  if (time == armedFor_ && time == 0) return;
  armedFor_ = time;
  itimerspec setting{};
  if (time != 0) {
    const std::int64_t left =
        std::max<std::int64_t>(time - steadyNanoseconds(), 1);  // 0 would be: off
    setting.it_value.tv_sec = left / kNanosecondsPerSecond;
    setting.it_value.tv_nsec = left % kNanosecondsPerSecond;
  }
  timerfd_settime(alarm_.number(), 0, &setting, nullptr);
}

void TaskLoop::awaitDescriptors(int timeoutMilliseconds) {
  std::array<epoll_event, 16> ready;
  const int count = epoll_wait(poller_.number(), ready.data(), static_cast<int>(ready.size()),
                               timeoutMilliseconds);
  const Lock lock(mutex_);
  for (int i = 0; i < count; ++i) {
    const auto found = watches_.find(ready[static_cast<std::size_t>(i)].data.u64);
    if (found == watches_.end()) continue;
    due_.push_back([watch = found->second] {
      if (!watch->stopped) watch->task();
    });
  }
}

void TaskLoop::wake() {
  const std::uint64_t one = 1;
  static_cast<void>(!retried([&] { return ::write(event_.number(), &one, sizeof one); }));
}

}  // namespace kelm::platform
