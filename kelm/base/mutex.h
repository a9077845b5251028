#pragma once

#include <mutex>

/// Lock annotations: clang checks them with -Wthread-safety, g++ ignores them.
#if defined(__clang__)
#define KELM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KELM_THREAD_ANNOTATION(x)
#endif

#define KELM_GUARDED_BY(mutex) KELM_THREAD_ANNOTATION(guarded_by(mutex))
#define KELM_REQUIRES(...) KELM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KELM_EXCLUDES(...) KELM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KELM_NO_THREAD_SAFETY KELM_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace kelm {

/// A standard mutex that the annotations understand; `Base` is std::mutex or
/// std::recursive_mutex. Waits use std::condition_variable_any.
template <class Base>
class KELM_THREAD_ANNOTATION(capability("mutex")) BasicMutex {
 public:
  void lock() KELM_THREAD_ANNOTATION(acquire_capability()) { base_.lock(); }
  bool try_lock() KELM_THREAD_ANNOTATION(try_acquire_capability(true)) { return base_.try_lock(); }
  void unlock() KELM_THREAD_ANNOTATION(release_capability()) { base_.unlock(); }

 private:
  Base base_;
};

using Mutex = BasicMutex<std::mutex>;
using RecursiveMutex = BasicMutex<std::recursive_mutex>;

/// Holds a mutex for a scope.
template <class M>
class KELM_THREAD_ANNOTATION(scoped_lockable) BasicLock {
 public:
  explicit BasicLock(M& mutex) KELM_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~BasicLock() KELM_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  BasicLock(const BasicLock&) = delete;
  BasicLock& operator=(const BasicLock&) = delete;

 private:
  M& mutex_;
};

using Lock = BasicLock<Mutex>;
using RecursiveLock = BasicLock<RecursiveMutex>;

}  // namespace kelm
