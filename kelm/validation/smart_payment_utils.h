#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// Check digits and fingerprints of payment data. Nothing is logged, nothing is kept; any thread
/// may call. An absent text counts as an empty one.
class KELM_API SmartPaymentUtils {
 public:
  /// `calculateMod97:` The remainder modulo 97 of the text read as one number, "A" to "Z" standing
  /// for 10 to 35 (ISO 7064 MOD 97-10): 1 for an IBAN whose first four characters were moved to its
  /// end. 0 for an empty text. Other characters c count as their code less 48 when that is below
  /// 10, else less 55, in unsigned 64-bit arithmetic that wraps.
  static std::int64_t calculateMod97(std::optional<std::string_view> text);
  /// `isBankModulo11:` Whether the digits from the second character on, weighted 1, 2, 4, 8 … from
  /// the last one, sum up to a multiple of 11. The first character may be anything. False for fewer
  /// than two characters and when one is no ASCII digit.
  static bool isBankModulo11(std::optional<std::string_view> text);
  /// `crc32:` The CRC-32 (ISO 3309, ITU-T V.42) of the UTF-8 bytes up to the first NUL, as eight
  /// hexadecimal digits in upper case.
  static std::string crc32(std::optional<std::string_view> text);
};

}  // namespace kelm
