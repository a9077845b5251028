#include "kelm/device/vasp_watch_util.h"

#include <chrono>
#include <future>
#include <memory>

#include "kelm/platform/dispatch.h"

namespace kelm {

using platform::WatchSession;

namespace {

constexpr int kLastWait = 10;
constexpr platform::Duration kWait = std::chrono::milliseconds(100);

void pause(platform::Queue& queue) {
  const auto over = std::make_shared<std::promise<void>>();
  queue.postAfter(kWait, [over] { over->set_value(); });
  over->get_future().wait();
}

/// False when the last wait was reached, even if the session became active in it.
bool waitUntilActivated(const WatchSession& session) {
  if (session.activationState() == WatchSession::kActivated) return true;
  const auto queue = platform::current<platform::Dispatcher>()->makeSerialQueue("kelm-watch-wait");
  for (int wait = 1; wait < kLastWait; ++wait) {
    pause(*queue);
    if (session.activationState() == WatchSession::kActivated) return true;
  }
  pause(*queue);
  return false;
}

bool askSession() {
  const std::shared_ptr<WatchSession> session = platform::current<WatchSession>();
  if (!session->isSupported()) return false;
  session->setDelegate(std::make_shared<WCSessionStubDelegate>());
  session->activate();
  return waitUntilActivated(*session) && session->isPaired();
}

}  // namespace

void WCSessionStubDelegate::session_activationDidCompleteWithState_error(
    WatchSession&, std::int64_t, const std::optional<Error>&) {}
void WCSessionStubDelegate::sessionDidBecomeInactive(WatchSession&) {}
void WCSessionStubDelegate::sessionDidDeactivate(WatchSession&) {}

VaspWatchUtil& VaspWatchUtil::getInstance() {
  static auto* const kInstance = new VaspWatchUtil;
  return *kInstance;
}

bool VaspWatchUtil::hasWatchPaired() {
  const Lock lock(mutex_);
  if (!answer_) answer_ = askSession();
  return *answer_;
}

}  // namespace kelm
