#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/network/zu_http_task.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {

/// A host's application object that notes what it is asked for. Thread-safe.
class RecordingApplication : public platform::Application {
 public:
  BackgroundTask beginBackgroundTask(std::string_view name,
                                     std::function<void()> expired) override {
    if (expireAtOnce) expired();
    const Lock lock(mutex_);
    expired_ = std::move(expired);
    events_.push_back("begin " + std::string(name));
    return ++last_;
  }
  void endBackgroundTask(BackgroundTask task) override { note("end " + std::to_string(task)); }
  void setNetworkActivityIndicatorVisible(bool visible) override {
    note(visible ? "indicator on" : "indicator off");
  }

  void note(std::string event) {
    const Lock lock(mutex_);
    events_.push_back(std::move(event));
  }
  std::vector<std::string> takeEvents() {
    const Lock lock(mutex_);
    return std::exchange(events_, {});
  }
  std::function<void()> expired() const {
    const Lock lock(mutex_);
    return expired_;
  }

  bool expireAtOnce = false;

 private:
  mutable Mutex mutex_;
  std::vector<std::string> events_ KELM_GUARDED_BY(mutex_);
  std::function<void()> expired_ KELM_GUARDED_BY(mutex_);
  BackgroundTask last_ KELM_GUARDED_BY(mutex_) = 0;
};

/// Services in memory, a host application and the log. The test's thread is the main thread.
struct NetworkFixture {
  NetworkFixture() {
    KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(
        [application = application] { return application; });
  }
  ~NetworkFixture() {
    KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(nullptr);
    KelmCoreAppExposedHooks::getInstance().setServerBaseContextPath(std::nullopt);
  }
  NetworkFixture(const NetworkFixture&) = delete;
  NetworkFixture& operator=(const NetworkFixture&) = delete;

  std::shared_ptr<RecordingApplication> application = std::make_shared<RecordingApplication>();
  TestPlatform services;
  ManualDispatcher& dispatcher = *services.dispatcher;
  MemoryUrlSessions& sessions = *services.urlSessions;
  TestScope scope{services};
  mutable LogCapture log;
};

/// A task without a session: good for building requests.
inline std::shared_ptr<ZuHTTPTask> taskFor(std::optional<std::string> url, ZuHTTPMethod method,
                                           std::shared_ptr<platform::UrlSession> session = {}) {
  return ZuHTTPTask::initWithURL_andMethod_usingSession(std::move(url), method, std::move(session));
}

}  // namespace kelm::testing
