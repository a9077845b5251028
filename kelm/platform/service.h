#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"

namespace kelm::platform {

/// The part of a slot that does not depend on the service's type.
class KELM_API SlotLock {
 protected:
  constexpr SlotLock() = default;
  /// Holds the slot for the calling thread while it makes the service. Throws std::logic_error if
  /// this thread is making it already, which would otherwise wait for itself for ever.
  class KELM_API Making {
   public:
    explicit Making(SlotLock& slot);
    ~Making();
    Making(const Making&) = delete;
    Making& operator=(const Making&) = delete;

   private:
    SlotLock& slot_;
  };

 private:
  Mutex mutex_;
  std::atomic<const void*> maker_{nullptr};  ///< the thread that makes the service now
};

/// Holds the service of type `S` that the process uses. Empty until first use; then the service's
/// own maker fills it. Every service has one slot, which its static member `slot()` returns; that
/// function is exported, so that all libraries and plug-ins of a process share one slot.
/// Thread-safe. Never destroyed; services that were replaced are kept until the process ends,
/// because another thread may still be using one.
template <class S>
class KELM_API Slot : SlotLock {
 public:
  using Held = const std::shared_ptr<S>;

  constexpr Slot() = default;
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;

  Held& get(std::shared_ptr<S> (*maker)()) {
    if (Held* held = held_.load(std::memory_order_acquire)) [[likely]]
      return *held;
    return fill(maker);
  }
  /// The holder of the service in use; null when there was no first use yet.
  Held* inUse() const { return held_.load(std::memory_order_acquire); }
  void put(std::shared_ptr<S> service) { held_.store(keep(std::move(service))); }
  /// Puts another holder in place, null for none, and returns the one before it.
  Held* exchange(Held* held) { return held_.exchange(held, std::memory_order_acq_rel); }

 private:
  struct Kept {
    Held service;
    const Kept* earlier;
  };

  Held& fill(std::shared_ptr<S> (*maker)());
  Held* keep(std::shared_ptr<S> service);

  std::atomic<Held*> held_{nullptr};
  std::atomic<const Kept*> newest_{nullptr};
};

/// The service of that type, such as `current<FileSystem>()`: the one of use() or of a guard, else
/// the system's own, made at the first call. The reference stays valid for the life of the process;
/// that of a guard until its scope ends. Whoever calls this links the library of the service
/// (`KelmCore::linux_files`, …), which the components that call it already do.
/// Throws std::logic_error if making the service needs that service itself, and whatever its maker
/// throws (std::system_error when the process has no descriptor left); the next call tries again.
template <class S>
const std::shared_ptr<S>& current() {
  return S::slot().get(&S::makeSystem);
}

/// Puts a service in place of the system's own, for a host at its start; `service` is not null.
/// Objects that took the earlier service keep it. Needs no library but `platform`.
template <class S>
void use(std::shared_ptr<S> service) {
  S::slot().put(std::move(service));
}

/// Puts a service in place for a scope (a test), then puts back what was there before: another
/// service, or none. Guards end in the reverse order of their making. Threads that may call the
/// service have ended, or have no more work, when the scope ends.
template <class S>
class ScopedService {
 public:
  explicit ScopedService(std::shared_ptr<S> service)
      : service_(std::move(service)), earlier_(S::slot().exchange(&service_)) {}
  ~ScopedService() { S::slot().exchange(earlier_); }
  ScopedService(const ScopedService&) = delete;
  ScopedService& operator=(const ScopedService&) = delete;

 private:
  const std::shared_ptr<S> service_;
  const std::shared_ptr<S>* const earlier_;
};

template <class S>
typename Slot<S>::Held& Slot<S>::fill(std::shared_ptr<S> (*maker)()) {
  const Making making(*this);
  if (Held* held = held_.load(std::memory_order_acquire)) return *held;
  Held* made = keep(maker());
  Held* none = nullptr;
  // A service that was put in place meanwhile wins.
  return held_.compare_exchange_strong(none, made) ? *made : *none;
}

template <class S>
typename Slot<S>::Held* Slot<S>::keep(std::shared_ptr<S> service) {
  auto* kept = new Kept{std::move(service), newest_.load()};
  while (!newest_.compare_exchange_weak(kept->earlier, kept)) {
  }
  return &kept->service;
}

}  // namespace kelm::platform
