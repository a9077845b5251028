#include "kelm/platform/platform.h"

#include <atomic>
#include <utility>

namespace kelm::platform {

namespace {

std::atomic<const Platform*> installed{nullptr};

const Platform& system() {
  static const Platform* const kSystem = new Platform(Platform::makeSystem());
  return *kSystem;
}

}  // namespace

const Platform& Platform::current() {
  const Platform* platform = installed.load(std::memory_order_acquire);
  return platform != nullptr ? *platform : system();
}

void Platform::set(Platform platform) {
  // Kept for ever, reachable through the chain: a thread may still use what was just replaced.
  struct Kept {
    Platform platform;
    const Kept* earlier;
  };
  static std::atomic<const Kept*> newest{nullptr};
  auto* kept = new Kept{std::move(platform), newest.load()};
  while (!newest.compare_exchange_weak(kept->earlier, kept)) {
  }
  installed.store(&kept->platform, std::memory_order_release);
}

ScopedPlatform::ScopedPlatform(Platform platform)
    : platform_(std::make_unique<const Platform>(std::move(platform))),
      earlier_(installed.exchange(platform_.get(), std::memory_order_acq_rel)) {}

ScopedPlatform::~ScopedPlatform() { installed.store(earlier_, std::memory_order_release); }

}  // namespace kelm::platform
