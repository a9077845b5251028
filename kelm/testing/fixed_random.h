#pragma once

#include <atomic>

#include "kelm/base/export.h"
#include "kelm/platform/random.h"

namespace kelm::testing {

/// "Random" bytes that every run repeats: 0, 1, 2, ... from the system's generator, 255, 254, ...
/// from the second one.
class KELM_API FixedRandom : public platform::Random {
 public:
  bool fill(std::span<std::uint8_t> buffer) override {
    if (refuses_) return false;
    for (std::uint8_t& byte : buffer)
      byte = next_++;
    return true;
  }
  void fillFromFallback(std::span<std::uint8_t> buffer) override {
    for (std::uint8_t& byte : buffer)
      byte = nextOfFallback_--;
  }
  /// Whether the system's generator refuses.
  void setRefuses(bool refuses) { refuses_ = refuses; }

 private:
  std::atomic<std::uint8_t> next_{0};
  std::atomic<std::uint8_t> nextOfFallback_{255};
  std::atomic<bool> refuses_{false};
};

}  // namespace kelm::testing
