#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

using Task = std::function<void()>;
using Duration = std::chrono::nanoseconds;

/// A running timer; destroying it stops it. Stopping from the thread that fires it guarantees
/// that the task does not run again; from another thread a run that has begun may still finish.
class KELM_API Timer {
 public:
  virtual ~Timer() = default;
};

/// Runs tasks one at a time, in the order of posting. A task that throws is reported on the
/// console as "LOG ERROR %@" and dropped. All operations may be called from any thread.
class KELM_API Queue {
 public:
  virtual ~Queue() = default;
  virtual void post(Task task) = 0;
  /// Posts once `delay` has passed. Not cancellable.
  virtual void postAfter(Duration delay, Task task) = 0;
  /// Posts every `interval`, first after one interval, until the result is destroyed; runs that
  /// were missed are skipped, not made up for.
  [[nodiscard]] virtual std::unique_ptr<Timer> every(Duration interval, Task task) = 0;
  /// Runs the task and waits for its end: at once when called on this queue, else in its turn.
  /// What the task throws reaches the caller.
  virtual void runAndWait(const Task& task) = 0;
  /// Posts, and waits for the end of the task until `limit` has passed; true when it has ended by
  /// then. A late task still runs. At once when called on this queue. What the task throws is
  /// reported like that of any task.
  virtual bool runWithin(Duration limit, Task task) = 0;
  /// True on the thread that is running this queue's tasks now.
  virtual bool isCurrent() const = 0;
};

/// The events that a descriptor is watched for; an error and the end of both directions are always
/// told.
enum class Readiness { Writable, PeerClosed };

/// The host's main thread. Either the host gives it to run(), or its own loop polls descriptor()
/// for reading and calls runPending() whenever that is ready.
class KELM_API MainLoop : public Queue {
 public:
  /// Dispatches until stop(). Only on the main thread.
  virtual void run() = 0;
  virtual void stop() = 0;
  /// Runs what is due now, without waiting. Only on the main thread. True when something ran.
  virtual bool runPending() = 0;
  /// Runs until `done` holds or `limit` has passed; returns what `done` says at the end.
  virtual bool runUntil(const std::function<bool()>& done, Duration limit) = 0;
  /// Readable whenever runPending() has something to do; -1 when there is none (a test's loop).
  virtual int descriptor() const = 0;
  /// Posts the task whenever the descriptor becomes what it is watched for, until the result is
  /// destroyed, which the descriptor must outlive. A test's loop never posts it.
  [[nodiscard]] virtual std::unique_ptr<Timer> watch(int descriptor, Readiness wanted,
                                                     Task task) = 0;
  /// True on the main thread: the process's first, until attachToCurrentThread() moves it.
  bool isMainThread() const { return isCurrent(); }
  virtual void attachToCurrentThread() = 0;
};

enum class Priority { Background, Default, High };

/// Makes queues. Thread-safe.
class KELM_API Dispatcher {
 public:
  virtual ~Dispatcher() = default;
  /// Holds the one in use; `current<Dispatcher>()` returns it.
  static Slot<Dispatcher>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Dispatcher> makeSystem();
  virtual MainLoop& mainLoop() = 0;
  /// A new serial queue of that name; what is posted still runs after the last reference is gone.
  virtual std::shared_ptr<Queue> makeSerialQueue(std::string_view name) = 0;
  /// Runs the task on some worker thread, concurrently with others.
  virtual void postGlobal(Priority priority, Task task) = 0;
  /// The serial queue whose task this thread runs now, or the main loop on the main thread; null
  /// on every other thread. What is posted after a serial queue has ended is dropped.
  virtual std::shared_ptr<Queue> currentQueue() = 0;
};

}  // namespace kelm::platform
