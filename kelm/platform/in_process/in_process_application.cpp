#include "kelm/platform/in_process/in_process_application.h"

#include <utility>

#include "kelm/platform/dispatch.h"

namespace kelm::platform {

std::shared_ptr<Application> Application::makeSystem() {
  return std::make_shared<InProcessApplication>();
}

Application::BackgroundTask InProcessApplication::beginBackgroundTask(
    std::string_view, std::function<void()> expired) {
  const Lock lock(tasks_->mutex);
  tasks_->running.emplace(++tasks_->last, std::move(expired));
  return tasks_->last;
}

void InProcessApplication::endBackgroundTask(BackgroundTask task) {
  std::function<void()> released;  // outside the lock: it may hold anything
  const Lock lock(tasks_->mutex);
  if (auto ended = tasks_->running.extract(task)) released = std::move(ended.mapped());
}

void InProcessApplication::setNetworkActivityIndicatorVisible(bool visible) {
  const Lock lock(tasks_->mutex);
  tasks_->indicator = visible;
}

bool InProcessApplication::isNetworkActivityIndicatorVisible() const {
  const Lock lock(tasks_->mutex);
  return tasks_->indicator;
}

std::size_t InProcessApplication::runningBackgroundTasks() const {
  const Lock lock(tasks_->mutex);
  return tasks_->running.size();
}

void InProcessApplication::expireBackgroundTasks() {
  const Lock lock(tasks_->mutex);
  for (const auto& [task, ignored] : tasks_->running) {
    current<Dispatcher>()->mainLoop().post([tasks = tasks_, id = task] {
      std::function<void()> expired;
      {
        const Lock inner(tasks->mutex);
        const auto place = tasks->running.find(id);
        if (place != tasks->running.end()) expired = place->second;
      }
      if (expired) expired();
    });
  }
}

}  // namespace kelm::platform
