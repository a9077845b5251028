#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// Random bytes, XOR and hexadecimal text. Stateless and thread-safe. Never throws.
class KELM_API VaspCryptoUtils {
 public:
  VaspCryptoUtils() = delete;

  /// `getRandom:` `count` bytes of the platform's cryptographic generator; when that refuses, of
  /// its second one.
  static Data getRandom(std::uint32_t count);
  /// `getRandomUnsignedInt` Four such bytes, in the machine's byte order.
  static std::uint32_t getRandomUnsignedInt();
  /// `xorData:withData:` Byte by byte. Absent when either is absent or their lengths differ.
  static std::optional<Data> xorData_withData(std::optional<DataView> a, std::optional<DataView> b);
  /// `hexadecimalStringOfData:` Two lower-case digits a byte. Empty for empty and absent bytes.
  static std::string hexadecimalStringOfData(std::optional<DataView> bytes);
  /// `dataFromHexadecimalString:` One byte for every two characters (UTF-16 units) of the text
  /// without its blanks, with a "0" put before an odd number of them. Never fails: each pair is
  /// read as strtol reads base 16 and cut to a byte. So a pair ends at what is no digit ("1z" is
  /// 01, "z1" and "0x" are 00), and a digit may follow a sign or white space ("-1" is ff, "+f" and
  /// "\tf" are 0f). Of each unit only the low 8 bits count: "İ" (U+0130) is a "0".
  static Data dataFromHexadecimalString(std::string_view text);
};

}  // namespace kelm
