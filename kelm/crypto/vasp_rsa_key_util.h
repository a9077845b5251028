#pragma once

#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

/// Builds RSA public keys from their numbers. Stateless and thread-safe. Never throws, never logs.
class KELM_API VaspRSAKeyUtil {
 public:
  VaspRSAKeyUtil() = delete;

  /// `generateRSAPublicKeyWithModulus:exponent:` The PKCS#1 RSAPublicKey (RFC 8017, A.1.1) of two
  /// numbers, most significant byte first, as they are given; only the modulus gets the zero byte
  /// that keeps it positive. Absent when either is absent. Not DER for an exponent that is empty,
  /// negative or longer than 127 bytes, nor for 64 KiB and more.
  static std::optional<Data> generateRSAPublicKeyWithModulus_exponent(
      std::optional<DataView> modulus, std::optional<DataView> exponent);
};

}  // namespace kelm
