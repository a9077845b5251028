#include "kelm/platform/service.h"

#include <stdexcept>

namespace kelm::platform {

namespace {

// Its address names the thread: std::thread::id cannot be held by a constant-initialised atomic.
thread_local char thisThread;

}  // namespace

SlotLock::Making::Making(SlotLock& slot) : slot_(slot) {
  if (slot.maker_.load(std::memory_order_relaxed) == &thisThread)
    throw std::logic_error("A service of the platform needs itself while it is being made.");
  slot.mutex_.lock();
  slot.maker_.store(&thisThread, std::memory_order_relaxed);
}

SlotLock::Making::~Making() {
  slot_.maker_.store(nullptr, std::memory_order_relaxed);
  slot_.mutex_.unlock();
}

}  // namespace kelm::platform
