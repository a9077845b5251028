#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

/// Nanoseconds of the system's steady clock, by which the loop's timers run.
std::int64_t steadyNanoseconds();

/// Tasks in the order of posting and timers by their time, which one thread runs, the runner. Any
/// thread may add. A poster makes a system call only when the runner may be asleep.
class TaskLoop : public std::enable_shared_from_this<TaskLoop> {
 public:
  TaskLoop();

  void post(Task task) KELM_EXCLUDES(mutex_);
  void postAfter(Duration delay, Task task) KELM_EXCLUDES(mutex_);
  std::unique_ptr<Timer> every(Duration interval, Task task) KELM_EXCLUDES(mutex_);
  /// Posts and waits; what the task throws reaches the caller. Not for the runner.
  void postAndWait(const Task& task);

  /// The same, but waits no longer than `limit`; false when the task has not ended by then.
  bool postAndWaitFor(Duration limit, Task task);
  /// Posts the task whenever the descriptor becomes what it is watched for.
  std::unique_ptr<Timer> watch(int descriptor, Readiness wanted, Task task) KELM_EXCLUDES(mutex_);

  /// Runs one task that is due; false when there is none. A task may call it again.
  bool runNext() KELM_EXCLUDES(mutex_);
  /// Runs what is due at the start of the call, then settles. True when something ran.
  bool runPending() KELM_EXCLUDES(mutex_);
  /// Makes the descriptor tell whether something is due, for a runner that leaves the loop.
  void settle() KELM_EXCLUDES(mutex_);
  /// Sleeps until something is due, or for `limit` at most; not at all when something is.
  void sleep(Duration limit) KELM_EXCLUDES(mutex_);
  /// Nothing is due, and no timer waits.
  bool isEmpty() KELM_EXCLUDES(mutex_);
  /// Readable whenever runPending() has something to do, once the runner has settled.
  int descriptor() const { return poller_.number(); }

 private:
  struct Appointment {
    Task task;
    std::int64_t interval = 0;  ///< nanoseconds; 0: once
    std::pair<std::int64_t, std::uint64_t> place{};
    std::atomic<bool> stopped{false};
  };
  class LoopTimer;
  struct Watch {
    Task task;
    std::atomic<bool> stopped{false};
  };
  class LoopWatch;

  void schedule(std::shared_ptr<Appointment> appointment, std::int64_t time) KELM_REQUIRES(mutex_);
  void stop(Appointment& appointment) KELM_EXCLUDES(mutex_);
  void collectDue() KELM_EXCLUDES(mutex_);
  bool prepareToSleep() KELM_EXCLUDES(mutex_);
  void armTimer() KELM_REQUIRES(mutex_);
  void awaitDescriptors(int timeoutMilliseconds) KELM_EXCLUDES(mutex_);
  void wake();

  const Descriptor poller_;
  const Descriptor event_;
  const Descriptor alarm_;
  std::deque<Task> due_;  ///< the runner's alone

  Mutex mutex_;
  std::deque<Task> posted_ KELM_GUARDED_BY(mutex_);
  /// By time and, within one time, by age.
  std::map<std::pair<std::int64_t, std::uint64_t>, std::shared_ptr<Appointment>> appointments_
      KELM_GUARDED_BY(mutex_);
  std::map<std::uint64_t, std::shared_ptr<Watch>> watches_ KELM_GUARDED_BY(mutex_);
  std::uint64_t nextWatch_ KELM_GUARDED_BY(mutex_) = 1;  ///< 0: the loop's own descriptors
  std::uint64_t nextAge_ KELM_GUARDED_BY(mutex_) = 0;
  std::int64_t armedFor_ KELM_GUARDED_BY(mutex_) = 0;  ///< 0: the alarm is off
  /// The runner looks at posted_ before it sleeps again.
  bool awake_ KELM_GUARDED_BY(mutex_) = false;
};

}  // namespace kelm::platform
