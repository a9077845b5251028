#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/collection_bytes.h"

namespace kelm {

/// SHA-1 (FIPS 180-4), for fingerprints and compatibility: collisions are known. Each result is
/// absent for absent and for empty bytes, and so it is for a `Value` that is the null object or no
/// data. Lengths count modulo 2^32: of 2^32 + 5 bytes the first five are hashed. Stateless and
/// thread-safe. Never throws.
class KELM_API VaspSha1 {
 public:
  VaspSha1() = delete;

  /// `sha1ByteDigestForData:` 20 bytes.
  static std::optional<Data> sha1ByteDigestForData(std::optional<DataView> bytes);
  static std::optional<Data> sha1ByteDigestForData(const std::same_as<Value> auto& bytes) {
    return sha1ByteDigestForData(bytesOfValue(bytes));
  }
  /// `sha1first:bytesDigestForData:` The first `count` bytes of the digest; absent above 20.
  static std::optional<Data> sha1first_bytesDigestForData(std::size_t count,
                                                          std::optional<DataView> bytes);
  static std::optional<Data> sha1first_bytesDigestForData(std::size_t count,
                                                          const std::same_as<Value> auto& bytes) {
    return sha1first_bytesDigestForData(count, bytesOfValue(bytes));
  }
  /// `sha1Hex20ByteStringDigestForData:` The digest as 40 lower-case hexadecimal digits.
  static std::optional<std::string> sha1Hex20ByteStringDigestForData(std::optional<DataView> bytes);
  static std::optional<std::string> sha1Hex20ByteStringDigestForData(
      const std::same_as<Value> auto& bytes) {
    return sha1Hex20ByteStringDigestForData(bytesOfValue(bytes));
  }
  /// `sha1Hex8ByteStringDigestForData:` Its first 8 bytes as 16 lower-case hexadecimal digits.
  static std::optional<std::string> sha1Hex8ByteStringDigestForData(std::optional<DataView> bytes);
  static std::optional<std::string> sha1Hex8ByteStringDigestForData(
      const std::same_as<Value> auto& bytes) {
    return sha1Hex8ByteStringDigestForData(bytesOfValue(bytes));
  }
};

}  // namespace kelm
