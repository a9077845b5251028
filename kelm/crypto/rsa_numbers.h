#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/wipe.h"

namespace kelm {

/// The numbers of an RSA key, each as the bytes of an unsigned big-endian integer without leading
/// zeros; empty for 0. Wiped when dropped.
struct RsaNumbers {
  enum Place : std::size_t { N, E, D, P, Q, DP, DQ, QI, kAll };
  static constexpr std::size_t kOfPublicKey = D;

  std::array<Data, kAll> values;
  /// How many there are: kOfPublicKey or kAll.
  std::size_t count = 0;

  RsaNumbers() = default;
  RsaNumbers(RsaNumbers&&) = default;
  RsaNumbers& operator=(RsaNumbers&&) = delete;
  ~RsaNumbers() {
    for (Data& value : values)
      wipe(value);
  }
};

/// The sizes of an RSA modulus that are served: below, a signature does not fit; above, one
/// operation takes seconds.
inline constexpr int kLeastRsaBits = 512;
inline constexpr int kMostRsaBits = 8192;

/// Reads the PKCS#1 form (RFC 8017, appendix A.1) of a public key (two numbers) or of a private key
/// of two primes (eight). Absent for anything that is not exactly one in DER.
std::optional<RsaNumbers> rsaNumbersOf(DataView pkcs1, std::size_t count);
/// Returns the PKCS#1 form. The bytes of a private key are the caller's to wipe.
Data pkcs1Of(const RsaNumbers& numbers, std::size_t count);

/// The one rule of what may be a key: an odd modulus of 512 to 8,192 bits and an odd exponent from
/// 3 on, below the modulus; the numbers of a private key must belong to each other.
bool followKeyRule(const RsaNumbers& numbers);

}  // namespace kelm
