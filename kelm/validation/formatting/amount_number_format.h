#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/decimal.h"

namespace kelm {

/// How one number is printed or read; borrowed for the call.
struct NumberStyle {
  std::string_view locale;
  bool isCurrency = false;
  /// In place of the locale's own.
  std::optional<std::string_view> currencySymbol;
  /// 0 ceiling, 1 floor, 2 down, 3 up, 4 half even, 5 half down, 6 half up; others as 4.
  std::uint64_t roundingMode = 4;
  // What is negative leaves the locale's own. Applied in this order; of two that contradict each
  // other the later one wins.
  std::int32_t minFractionDigits = -1;
  std::int32_t maxFractionDigits = -1;
  std::int32_t maxIntegerDigits = -1;
  bool isGrouped = true;
  /// "." whatever the locale's decimal separator is; not in currency style.
  bool hasPoint = false;
};

/// The number as text, with at least one integer digit and at most 999 on either side.
std::string formattedNumber(const Decimal& number, const NumberStyle& style);

enum class NumberReading {
  Strict,   ///< grouping where it belongs or none
  Lenient,  ///< grouping anywhere, a currency symbol or none
};

/// The number that the whole of a text is; absent when it is none, when it takes more than 38
/// digits, has an exponent (Strict; Lenient texts must hold digits and separators alone), and for
/// more than 4096 characters. Rounds nothing: the digits and rounding of the style are not used.
std::optional<Decimal> parsedNumber(std::string_view text, const NumberStyle& style,
                                    NumberReading reading);

}  // namespace kelm
