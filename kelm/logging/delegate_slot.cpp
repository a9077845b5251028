#include "kelm/logging/delegate_slot.h"

#include <utility>

#include "kelm/logging/vasp_logger_default_delegate.h"

namespace kelm::logging {

void DelegateSlot::set(std::shared_ptr<VaspLogDelegate> delegate) {
  const Lock lock(mutex_);
  delegate_.swap(delegate);  // the earlier one goes after the lock, with the argument
  filled_.store(delegate_ != nullptr, std::memory_order_release);
  version_.fetch_add(1, std::memory_order_acq_rel);
}

void DelegateSlot::fill() {
  if (filled_.load(std::memory_order_acquire)) return;
  auto made = std::make_shared<VaspLoggerDefaultDelegate>();
  const Lock lock(mutex_);
  if (delegate_ != nullptr) return;
  delegate_ = std::move(made);
  filled_.store(true, std::memory_order_release);
  version_.fetch_add(1, std::memory_order_acq_rel);
}

std::shared_ptr<VaspLogDelegate> DelegateSlot::get() const {
  const Lock lock(mutex_);
  return delegate_;
}

VaspLogDelegate* DelegateHold::current() {
  const std::uint64_t version = slot_.version();
  if (version != version_) {
    delegate_ = slot_.get();
    version_ = version;
  }
  return delegate_.get();
}

void DelegateHold::release() {
  delegate_.reset();
  version_ = 0;
}

}  // namespace kelm::logging
