#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Random bytes for cryptography. Thread-safe.
class KELM_API Random {
 public:
  virtual ~Random() = default;
  /// Holds the one in use; `current<Random>()` returns it.
  static Slot<Random>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Random> makeSystem();
  /// Fills the buffer from the system's generator; false, buffer unspecified, when it refuses.
  [[nodiscard]] virtual bool fill(std::span<std::uint8_t> buffer) = 0;
  /// Fills the buffer from a second generator that cannot refuse.
  virtual void fillFromFallback(std::span<std::uint8_t> buffer) = 0;
};

}  // namespace kelm::platform
