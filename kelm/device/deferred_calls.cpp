#include "kelm/device/deferred_calls.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "kelm/platform/dispatch.h"

namespace kelm {

namespace {

using platform::Dispatcher;
using platform::Duration;
using platform::Priority;

Duration durationOf(double seconds) {
  const double nanoseconds = std::trunc(seconds * 1e9);
  if (!(nanoseconds > 0)) return Duration::zero();
  // The largest 64-bit number has no double of its own; the next one above is 2^63.
  if (nanoseconds >= 0x1p63) return Duration::max();
  return Duration(static_cast<std::int64_t>(nanoseconds));
}

platform::MainLoop& mainLoop() { return platform::current<Dispatcher>()->mainLoop(); }

void hopToMainThread(Priority priority, std::function<void()> callback, double delay) {
  platform::current<Dispatcher>()->postGlobal(
      priority, [callback = std::move(callback), delay = durationOf(delay)]() mutable {
        mainLoop().postAfter(delay, std::move(callback));
      });
}

}  // namespace

void performBlock_afterDelay(std::function<void()> callback, double delay) {
  platform::MainLoop& loop = mainLoop();
  if (!loop.isMainThread()) return;
  loop.postAfter(durationOf(delay),
                 [callback = std::move(callback)] { fireBlockAfterDelay(callback); });
}

void fireBlockAfterDelay(const std::function<void()>& callback) { callback(); }

void performAsyncBlockOnMainThread(std::function<void()> callback) {
  mainLoop().post(std::move(callback));
}

void performSyncBlockOnMainThread(const std::function<void()>& callback) {
  mainLoop().runAndWait(callback);
}

void performEnqueuedSyncBlockOnMainThread(std::function<void()> callback) {
  mainLoop().post(std::move(callback));
}

void performAsyncBlockOnMainThread_afterDelay(std::function<void()> callback, double delay) {
  hopToMainThread(Priority::High, std::move(callback), delay);
}

void performEnqueuedAsyncBlockOnMainThread_afterDelay(std::function<void()> callback,
                                                      double delay) {
  hopToMainThread(Priority::Default, std::move(callback), delay);
}

}  // namespace kelm
