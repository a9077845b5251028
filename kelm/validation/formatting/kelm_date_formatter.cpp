#include "kelm/validation/formatting/kelm_date_formatter.h"

#include "kelm/base/decimal.h"
#include "kelm/base/format.h"
#include "kelm/base/value.h"
#include "kelm/validation/current_locale.h"
#include "kelm/validation/formatting/date_pattern_format.h"

namespace kelm {
namespace {

/// The integer part of a decimal text; absent when it is none.
std::optional<std::int64_t> integerOf(std::optional<std::string_view> text) {
  const auto number = Decimal::fromText(text.value_or(""));
  return number ? std::optional(number->integer()) : std::nullopt;
}

}  // namespace

KelmDateFormatter::KelmDateFormatter() : locale_(currentLocale()), timezone_(&TimeZone::system()) {}

std::optional<std::string> KelmDateFormatter::formattedStringWithDate(
    std::optional<Date> date) const {
  if (!date) return {};
  return formattedDate(
      *date, {locale_, dateFormat().value_or(""), timezone_ ? *timezone_ : TimeZone::system(),
              amSymbol(), pmSymbol()});
}

std::optional<std::string> KelmDateFormatter::formattedStringWithTimestamp(
    std::int64_t milliseconds) const {
  return formattedStringWithDate(dateWithTimestamp(milliseconds));
}

std::optional<std::string> KelmDateFormatter::formattedStringWithTimestampString(
    std::optional<std::string_view> timestamp) const {
  return formattedStringWithDate(dateWithTimestampString(timestamp));
}

std::optional<Date> KelmDateFormatter::dateWithFormattedString(
    std::optional<std::string_view> text) const {
  if (!text || text->empty()) return {};
  return parsedDate(
      *text,
      {locale_, dateFormat().value_or(""), timezone_ ? *timezone_ : TimeZone::system(), {}, {}});
}

std::int64_t KelmDateFormatter::timestampWithFormattedString(
    std::optional<std::string_view> text) const {
  return timestampWithDate(dateWithFormattedString(text));
}

Date KelmDateFormatter::dateWithTimestamp(std::int64_t milliseconds) const {
  return Date{static_cast<double>(milliseconds) / 1000.0};
}

std::optional<Date> KelmDateFormatter::dateWithTimestampString(
    std::optional<std::string_view> timestamp) const {
  const auto milliseconds = integerOf(timestamp);
  return milliseconds ? std::optional(dateWithTimestamp(*milliseconds)) : std::nullopt;
}

std::int64_t KelmDateFormatter::timestampWithTimestampString(
    std::optional<std::string_view> timestamp) {
  return integerOf(timestamp).value_or(0);
}

std::int64_t KelmDateFormatter::timestampWithDate(std::optional<Date> date) {
  if (!date) return 0;
  return *Value(date->secondsSince1970 * 1000.0).integer();
}

std::optional<std::string> KelmDateFormatter::timestampStringWithDate(std::optional<Date> date) {
  if (!date) return {};
  return format("%lld", timestampWithDate(date));
}

std::optional<TimeZone> KelmDateFormatter::timezoneWithTimezoneOffsetString(
    std::optional<std::string_view> offset) {
  const auto milliseconds = integerOf(offset);
  if (!milliseconds) return {};
  return TimeZone::fixed(*Value(static_cast<double>(*milliseconds) / 1000.0).integer());
}

}  // namespace kelm
