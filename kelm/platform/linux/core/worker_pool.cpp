#include "kelm/platform/linux/core/worker_pool.h"

#include <utility>

#include "kelm/platform/process.h"
#include "kelm/platform/reporting.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kMostWorkers = 16;

}  // namespace

WorkerPool::~WorkerPool() {
  const Lock lock(shared_->mutex);
  shared_->closed = true;
  shared_->changed.notify_all();
}

void WorkerPool::post(Priority priority, Task task) {
  const Lock lock(shared_->mutex);
  const bool findsIdle = shared_->waiting < shared_->idle;
  if (!findsIdle && shared_->workers < kMostWorkers) {
    startThread("kelm.global", [shared = shared_] { work(*shared); });
    ++shared_->workers;
  }
  shared_->tasks[static_cast<std::size_t>(priority)].push_back(std::move(task));
  ++shared_->waiting;
  if (findsIdle) shared_->changed.notify_one();
}

void WorkerPool::work(Shared& shared) {
  shared.mutex.lock();
  for (;;) {
    if (shared.waiting > 0) {
      Task task = take(shared);
      shared.mutex.unlock();
      runReporting(task);
      task = nullptr;
      shared.mutex.lock();
    } else if (shared.closed) {
      break;
    } else {
      ++shared.idle;
      shared.changed.wait(shared.mutex);
      --shared.idle;
    }
  }
  shared.mutex.unlock();
}

Task WorkerPool::take(Shared& shared) {
  --shared.waiting;
  auto queue = shared.tasks.rbegin();
  while (queue->empty())
    ++queue;
  Task task = std::move(queue->front());
  queue->pop_front();
  return task;
}

}  // namespace kelm::platform
