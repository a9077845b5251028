#pragma once

#include <concepts>
#include <optional>
#include <string>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/collection_bytes.h"

namespace kelm {

/// SHA-256 (FIPS 180-4). Both results are absent for absent and for empty bytes. Lengths count
/// modulo 2^32, as `VaspSha1` does. Stateless and thread-safe. Never throws.
class KELM_API VaspSha2 {
 public:
  VaspSha2() = delete;

  /// `sha256ByteDigestForData:` 32 bytes. Absent, too, for a `Value` that is the null object or no
  /// data.
  static std::optional<Data> sha256ByteDigestForData(std::optional<DataView> bytes);
  static std::optional<Data> sha256ByteDigestForData(const std::same_as<Value> auto& bytes) {
    return sha256ByteDigestForData(bytesOfValue(bytes));
  }
  /// `sha256HexByteDigestForData:` The digest as 64 lower-case hexadecimal digits. Takes bytes
  /// only, no `Value`.
  static std::optional<std::string> sha256HexByteDigestForData(std::optional<DataView> bytes);
};

}  // namespace kelm
