#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/wipe.h"

struct evp_cipher_ctx_st;

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
std::optional<Data> seal(const SealKey& key, DataView secret, DataView context);

/// Opens what was sealed under one key, which it keeps made ready. Not thread-safe.
class Unsealer {
 public:
  explicit Unsealer(const SealKey& key);

  /// The secret; the caller wipes it. Absent unless key, context and every byte are those of
  /// seal().
  std::optional<Data> unseal(DataView sealed, DataView context);

 private:
  struct FreeContext {
    void operator()(evp_cipher_ctx_st* cipher) const;
  };

  std::unique_ptr<evp_cipher_ctx_st, FreeContext> cipher_;  // null: the cipher failed
};

}  // namespace kelm::platform
