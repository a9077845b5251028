#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/random.h"

namespace kelm::platform {

/// A key of AES-256. Wiped at its end.
struct SealKey {
  SealKey() = default;
  SealKey(const SealKey&) = default;
  SealKey& operator=(const SealKey&) = default;
  ~SealKey() { wipe(bytes); }

  std::array<std::uint8_t, 32> bytes{};
};

/// The secret under AES-256-GCM (NIST SP 800-38D): a fresh nonce of 12 bytes, the ciphertext, the
/// tag of 16 bytes, which also covers `context`. Absent when randomness or the cipher fails.
std::optional<Data> seal(const SealKey& key, DataView secret, DataView context, Random& random);
/// The secret; the caller wipes it. Absent unless key, context and every byte are those of seal().
std::optional<Data> unseal(const SealKey& key, DataView sealed, DataView context);

}  // namespace kelm::platform
