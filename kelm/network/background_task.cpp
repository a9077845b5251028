#include "kelm/network/background_task.h"

#include <utility>

namespace kelm {

BackgroundTask::BackgroundTask(std::shared_ptr<platform::Application> application)
    : application_(std::move(application)) {}

std::shared_ptr<BackgroundTask> BackgroundTask::begin(
    std::shared_ptr<platform::Application> application, std::string_view name) {
  auto task = std::make_shared<BackgroundTask>(std::move(application));
  const Id id = task->application_->beginBackgroundTask(name, [weak = std::weak_ptr(task)] {
    if (const auto expired = weak.lock()) expired->end();
  });
  Id none = platform::Application::kInvalidBackgroundTask;
  // It may have expired before its identifier was known here.
  if (!task->id_.compare_exchange_strong(none, id)) task->application_->endBackgroundTask(id);
  return task;
}

void BackgroundTask::end() {
  const Id id = id_.exchange(kEnded);
  if (id != kEnded && id != platform::Application::kInvalidBackgroundTask)
    application_->endBackgroundTask(id);
}

}  // namespace kelm
