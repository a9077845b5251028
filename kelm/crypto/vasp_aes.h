#pragma once

#include <cstdint>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// AES (FIPS 197) in CBC mode (NIST SP 800-38A) with PKCS#7 padding (RFC 5652, 6.3): nothing but
/// the ciphertext, so nothing tells damaged bytes from good ones but the padding, most of the
/// time. Stateless and thread-safe; no key stays in memory after a call. Never throws.
///
/// Key: 24 bytes choose AES-192, 32 AES-256, and up to 16 AES-128, where a shorter one (an absent
/// one too) is completed with zero bytes. Vector: its first 16 bytes, likewise completed. Absent
/// data counts as empty.
class KELM_API VaspAES {
 public:
  static constexpr std::uint32_t kEncrypt = 0;
  static constexpr std::uint32_t kDecrypt = 1;

  VaspAES() = delete;

  /// `aesEncryptData:WithBytesKey:withBytesIV:` The data with 1 to 16 bytes of padding; 16 bytes
  /// for empty data. Absent, with one FATAL line, for a key of any other length.
  static std::optional<Data> aesEncryptData_WithBytesKey_withBytesIV(std::optional<DataView> data,
                                                                     std::optional<DataView> key,
                                                                     std::optional<DataView> iv);
  /// `aesDecryptData:WithBytesKey:withBytesIV:` The data that was encrypted. Absent, with one FATAL
  /// line, for such a key, for data that is no positive multiple of 16 bytes and for wrong
  /// padding: a wrong key or damaged data gives that or, in about one of 250 cases, wrong bytes.
  static std::optional<Data> aesDecryptData_WithBytesKey_withBytesIV(std::optional<DataView> data,
                                                                     std::optional<DataView> key,
                                                                     std::optional<DataView> iv);
  /// `prvateAESOperation:withData:WithBytesKey:withBytesIV:` What both call with `kEncrypt` or
  /// `kDecrypt`; every other operation fails as the cipher does.
  static std::optional<Data> prvateAESOperation_withData_WithBytesKey_withBytesIV(
      std::uint32_t operation, std::optional<DataView> data, std::optional<DataView> key,
      std::optional<DataView> iv);
};

}  // namespace kelm
