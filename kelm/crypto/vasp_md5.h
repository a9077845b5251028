#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// `hash_MD5` The MD5 of a text's bytes up to its first zero byte, as 32 upper-case hexadecimal
/// digits.
KELM_API std::string hash_MD5(std::string_view text);
/// `hash_Data_MD5` The same of bytes: those behind the first zero byte do not count, so buffers
/// that differ only there have one digest. Absent bytes count as empty.
KELM_API std::string hash_Data_MD5(std::optional<DataView> bytes);

/// MD5 (RFC 1321), for names and compatibility: anybody can make two inputs with one digest.
/// Stateless and thread-safe. Never throws. All results are empty where the system's cryptographic
/// library refuses MD5 (a FIPS installation).
class KELM_API VaspMD5 {
 public:
  VaspMD5() = delete;

  /// `md5OfData:` 16 bytes, of all bytes of the input; absent input counts as empty.
  static Data md5OfData(std::optional<DataView> bytes);
  /// `md5DigiestOf:` As `hash_MD5`.
  static std::string md5DigiestOf(std::string_view text);
  /// `md5DigiestOfData:` As `hash_Data_MD5`.
  static std::string md5DigiestOfData(std::optional<DataView> bytes);
};

}  // namespace kelm
