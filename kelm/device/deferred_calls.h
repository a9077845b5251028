#pragma once

#include <functional>

#include "kelm/base/export.h"

// Calls that run later or on the main thread. Every operation copies its callback first, which must
// not be empty. A delay is in seconds; it is cut to whole nanoseconds and to what 64 bits hold, and
// one that is negative or not a number counts as none. What a callback throws on the loop is
// reported as the loop reports it. All operations may be called from any thread.
namespace kelm {

/// `performBlock:afterDelay:` Calls it on the calling thread's run loop after the delay. Only the
/// main thread has one: from any other thread the callback is released and never called.
KELM_API void performBlock_afterDelay(std::function<void()> callback, double delay);

/// `fireBlockAfterDelay:` Calls it at once.
KELM_API void fireBlockAfterDelay(const std::function<void()>& callback);

/// `performAsyncBlockOnMainThread:` Calls it on the main thread after the work that it does now,
/// never inline.
KELM_API void performAsyncBlockOnMainThread(std::function<void()> callback);

/// `performSyncBlockOnMainThread:` On the main thread calls it at once; from another thread waits
/// until the main thread has called it, and passes on what it throws. Waits for ever if the main
/// thread waits for this thread meanwhile.
KELM_API void performSyncBlockOnMainThread(const std::function<void()>& callback);

/// `performEnqueuedSyncBlockOnMainThread:` Queues it for the main thread and, despite its name,
/// does not wait.
KELM_API void performEnqueuedSyncBlockOnMainThread(std::function<void()> callback);

/// `performAsyncBlockOnMainThread:afterDelay:` Calls it on the main thread; the delay begins when
/// the global queue of high priority gets to it.
KELM_API void performAsyncBlockOnMainThread_afterDelay(std::function<void()> callback,
                                                       double delay);

/// `performEnqueuedAsyncBlockOnMainThread:afterDelay:` The same by the global queue of default
/// priority.
KELM_API void performEnqueuedAsyncBlockOnMainThread_afterDelay(std::function<void()> callback,
                                                               double delay);

}  // namespace kelm
