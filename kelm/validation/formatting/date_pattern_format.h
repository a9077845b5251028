#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/date.h"
#include "kelm/validation/formatting/time_zone.h"

namespace kelm {

/// How one date is printed or read; borrowed for the call.
struct DateStyle {
  std::string_view locale;
  std::string_view pattern;  ///< of Unicode's UTS #35
  const TimeZone& zone;
  // In place of the locale's own; not used to read.
  std::optional<std::string_view> amSymbol;
  std::optional<std::string_view> pmSymbol;
};

/// The date, rounded to milliseconds. Absent when the pattern has letters without a meaning, and
/// for a date that is not a number.
std::optional<std::string> formattedDate(Date date, const DateStyle& style);

/// The date that the whole of a text is, read leniently. Two digits are a year from 1950 on; what
/// the pattern lacks is that of 2000-01-01 00:00. Absent when the text does not match, and for
/// more than 4096 characters.
std::optional<Date> parsedDate(std::string_view text, const DateStyle& style);

}  // namespace kelm
