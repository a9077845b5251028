#include "kelm/platform/dispatch.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <utility>

#include "kelm/platform/linux/core/task_loop.h"
#include "kelm/platform/linux/core/worker_pool.h"
#include "kelm/platform/process.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform {

namespace {

/// A condition that other threads change without posting is noticed this late at most.
constexpr Duration kLongestNap = std::chrono::milliseconds(10);

/// The operations that a main loop and a queue have in common, on a task loop.
template <class Base>
class OnTaskLoop : public Base {
 public:
  explicit OnTaskLoop(std::shared_ptr<TaskLoop> loop) : loop_(std::move(loop)) {}

  void post(Task task) override { loop_->post(std::move(task)); }
  void postAfter(Duration delay, Task task) override { loop_->postAfter(delay, std::move(task)); }
  std::unique_ptr<Timer> every(Duration interval, Task task) override {
    return loop_->every(interval, std::move(task));
  }
  void runAndWait(const Task& task) override {
    this->isCurrent() ? task() : loop_->postAndWait(task);
  }
  bool runWithin(Duration limit, Task task) override {
    if (!this->isCurrent()) return loop_->postAndWaitFor(limit, std::move(task));
    runReporting(task);
    return true;
  }

 protected:
  const std::shared_ptr<TaskLoop> loop_;
};

class LinuxMainLoop : public OnTaskLoop<MainLoop> {
 public:
  LinuxMainLoop() : OnTaskLoop(std::make_shared<TaskLoop>()) {}

  std::unique_ptr<Timer> watch(int descriptor, Readiness wanted, Task task) override {
    return loop_->watch(descriptor, wanted, std::move(task));
  }
  bool isCurrent() const override {
    const std::thread::id attached = mainThread_;
    if (attached == std::thread::id()) return isFirstThread();
    return attached == std::this_thread::get_id();
  }

  void run() override {
    while (!stopped_) {
      if (!loop_->runNext()) loop_->sleep(Duration::max());
    }
    stopped_ = false;
    loop_->settle();
  }
  void stop() override {
    stopped_ = true;
    loop_->post([] {});
  }
  bool runPending() override { return loop_->runPending(); }
  bool runUntil(const std::function<bool()>& done, Duration limit) override {
    const std::int64_t start = steadyNanoseconds();
    bool isDone = done();
    while (!isDone) {
      const Duration left = limit - Duration(steadyNanoseconds() - start);
      if (left <= Duration::zero()) break;
      if (!loop_->runNext()) loop_->sleep(std::min(left, kLongestNap));
      isDone = done();
    }
    loop_->settle();
    return isDone;
  }
  int descriptor() const override { return loop_->descriptor(); }
  void attachToCurrentThread() override { mainThread_ = std::this_thread::get_id(); }

 private:
  std::atomic<std::thread::id> mainThread_{};  ///< none: the process's first
  std::atomic<bool> stopped_{false};
};

/// A loop that some thread runs.
class LoopQueue : public OnTaskLoop<Queue> {
 public:
  using OnTaskLoop::OnTaskLoop;

  bool isCurrent() const override { return runningHere == loop_.get(); }

  static thread_local TaskLoop* runningHere;
};

thread_local TaskLoop* LoopQueue::runningHere = nullptr;

/// A thread of its own, which outlives the queue until everything posted has run.
class SerialQueue : public LoopQueue {
 public:
  explicit SerialQueue(std::string_view name) : LoopQueue(std::make_shared<TaskLoop>()) {
    startThread(name, [loop = loop_, closed = closed_] {
      runningHere = loop.get();
      while (!*closed || !loop->isEmpty()) {
        if (!loop->runNext()) loop->sleep(Duration::max());
      }
    });
  }
  ~SerialQueue() override {
    loop_->post([closed = closed_] { *closed = true; });
  }
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

 private:
  const std::shared_ptr<bool> closed_ = std::make_shared<bool>(false);  ///< of the queue's thread
};

class LinuxDispatcher : public Dispatcher {
 public:
  MainLoop& mainLoop() override { return main_; }
  std::shared_ptr<Queue> makeSerialQueue(std::string_view name) override {
    return std::make_shared<SerialQueue>(name);
  }
  void postGlobal(Priority priority, Task task) override {
    workers_.post(priority, std::move(task));
  }
  std::shared_ptr<Queue> currentQueue() override {
    if (main_.isCurrent()) return {std::shared_ptr<Queue>(), &main_};
    if (LoopQueue::runningHere == nullptr) return nullptr;
    return std::make_shared<LoopQueue>(LoopQueue::runningHere->shared_from_this());
  }

 private:
  LinuxMainLoop main_;
  WorkerPool workers_;
};

}  // namespace

std::shared_ptr<Dispatcher> Dispatcher::makeSystem() { return std::make_shared<LinuxDispatcher>(); }

}  // namespace kelm::platform
