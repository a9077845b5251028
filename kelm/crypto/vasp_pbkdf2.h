#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// PBKDF2 (RFC 8018, section 5.2) with HMAC-SHA-256. `size`: bytes to derive, up to 4096; 0 gives
/// empty bytes. `rounds`: 1 to 100,000,000; time grows with rounds and with every 32 bytes of
/// size, up to minutes. What is out of bounds gives an absent result and one FATAL line. Stateless
/// and thread-safe. Never throws. Bytes returned are the caller's to wipe.
class KELM_API VaspPBKDF2 {
 public:
  VaspPBKDF2() = delete;

  /// `pbkdf2OfPasswordData:withSalt:expectingSize:performingRound:` Looked at in this order:
  /// password, size, rounds, salt; password and salt must not be empty. A password or salt
  /// of 2 GiB or more logs the status -1.
  static std::optional<Data> pbkdf2OfPasswordData_withSalt_expectingSize_performingRound(
      std::optional<DataView> password, std::optional<DataView> salt, std::uint32_t size,
      std::uint32_t rounds);
  /// `pbkdf2OfPassword:withSalt:expectingSize:performingRound:` The same with a text's UTF-8 bytes;
  /// password and salt come first.
  static std::optional<Data> pbkdf2OfPassword_withSalt_expectingSize_performingRound(
      std::optional<std::string_view> password, std::optional<DataView> salt, std::uint32_t size,
      std::uint32_t rounds);
  /// `pbkdf2OfPasswordDataCastingToHexadecimal:withSalt:expectingSize:performingRound:` The same
  /// with the lower-case hexadecimal text of the bytes as password. Absent, silent, for empty and
  /// absent bytes.
  static std::optional<Data>
  pbkdf2OfPasswordDataCastingToHexadecimal_withSalt_expectingSize_performingRound(
      std::optional<DataView> password, std::optional<DataView> salt, std::uint32_t size,
      std::uint32_t rounds);
};

}  // namespace kelm
