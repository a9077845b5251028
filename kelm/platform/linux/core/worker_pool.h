#pragma once

#include <array>
#include <condition_variable>
#include <deque>
#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/platform/dispatch.h"

namespace kelm::platform {

/// Worker threads for tasks without an order; higher priorities first. A worker is started while
/// none is idle, up to 16; they end once the pool is gone and every task has run. Thread-safe.
class WorkerPool {
 public:
  WorkerPool() = default;
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  void post(Priority priority, Task task);

 private:
  struct Shared {
    Mutex mutex;
    std::condition_variable_any changed;
    std::array<std::deque<Task>, 3> tasks KELM_GUARDED_BY(mutex);
    std::size_t waiting KELM_GUARDED_BY(mutex) = 0;  ///< tasks that no worker has taken
    std::size_t idle KELM_GUARDED_BY(mutex) = 0;
    std::size_t workers KELM_GUARDED_BY(mutex) = 0;
    bool closed KELM_GUARDED_BY(mutex) = false;
  };
  static void work(Shared& shared);
  static Task take(Shared& shared) KELM_REQUIRES(shared.mutex);

  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

}  // namespace kelm::platform
