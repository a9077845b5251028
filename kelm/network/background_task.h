#pragma once

#include <atomic>
#include <limits>
#include <memory>
#include <string_view>

#include "kelm/platform/application.h"

namespace kelm {

/// One background task of the host: ended once, by whoever comes first of its owner, the system
/// that takes the time back, and the last reference. Thread-safe.
class BackgroundTask {
 public:
  static std::shared_ptr<BackgroundTask> begin(std::shared_ptr<platform::Application> application,
                                               std::string_view name);
  explicit BackgroundTask(std::shared_ptr<platform::Application> application);
  ~BackgroundTask() { end(); }
  BackgroundTask(const BackgroundTask&) = delete;
  BackgroundTask& operator=(const BackgroundTask&) = delete;

  void end();

 private:
  using Id = platform::Application::BackgroundTask;
  static constexpr Id kEnded = std::numeric_limits<Id>::max();

  std::shared_ptr<platform::Application> application_;
  std::atomic<Id> id_{platform::Application::kInvalidBackgroundTask};
};

}  // namespace kelm
