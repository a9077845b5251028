#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>

#include "kelm/base/mutex.h"
#include "kelm/logging/log_record.h"

namespace kelm::logging {

/// Somebody who waits until the records before this point are delivered.
class Fence {
 public:
  void reach();
  /// False when `limit` passes first.
  bool waitFor(std::chrono::milliseconds limit);

 private:
  Mutex mutex_;
  std::condition_variable_any changed_;
  bool reached_ KELM_GUARDED_BY(mutex_) = false;
};

/// The serial queue of records: a linked list that any thread appends to with one atomic exchange,
/// emptied by one thread of its own. That thread is not woken for each record: while records keep
/// coming it looks every five milliseconds, and only later sleeps until it is called. Lives for
/// ever once made.
class LogQueue {
 public:
  /// `deliver` gets every record in order; `rest` is called when none is left for the moment.
  LogQueue(std::function<void(const LogRecord&)> deliver, std::function<void()> rest);
  LogQueue(const LogQueue&) = delete;
  LogQueue& operator=(const LogQueue&) = delete;

  void push(LogRecord* record);
  /// Waits until what was pushed before is delivered; false when `limit` passes first, and at
  /// once on the queue's own thread.
  bool flush(std::chrono::milliseconds limit);
  bool isOwnThread() const;

 private:
  [[noreturn]] void run();
  void consume(LogRecord& record);
  void nap() KELM_EXCLUDES(mutex_);
  void sleep() KELM_EXCLUDES(mutex_);
  void wake() KELM_EXCLUDES(mutex_);

  const std::function<void(const LogRecord&)> deliver_;
  const std::function<void()> rest_;

  alignas(64) std::atomic<LogRecord*> last_;
  alignas(64) std::atomic<bool> asleep_{false};
  alignas(64) LogRecord* consumed_;  ///< the queue's thread's: what it delivered last
  std::atomic<std::thread::id> thread_{};
  Mutex mutex_;
  std::condition_variable_any called_;
  bool urgent_ KELM_GUARDED_BY(mutex_) = false;
};

}  // namespace kelm::logging
