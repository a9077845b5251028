#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kelm/base/date.h"
#include "kelm/base/export.h"
#include "kelm/validation/formatting/time_zone.h"

namespace kelm {

/// A text, or none, that its owner keeps alive. Of a string it is the text at the time of use: the
/// owner may change it. A temporary string does not compile.
class BorrowedText {
 public:
  BorrowedText(std::nullopt_t) {}                           // NOLINT
  BorrowedText(const char* text) : text_(text) {}           // NOLINT
  BorrowedText(std::string_view text) : text_(text) {}      // NOLINT
  BorrowedText(const std::string& text) : owner_(&text) {}  // NOLINT
  BorrowedText(std::string&&) = delete;
  std::optional<std::string_view> view() const {
    return owner_ != nullptr ? std::optional<std::string_view>(*owner_) : text_;
  }

 private:
  const std::string* owner_ = nullptr;
  std::optional<std::string_view> text_;
};

/// Converts between dates, timestamps (milliseconds since 1970-01-01T00:00:00Z, as numbers and as
/// decimal texts) and texts in a pattern, locale and time zone.
///
/// The formatter owns its locale alone: pattern, time zone and the two symbols belong to the
/// caller, who keeps them alive for as long as the formatter uses them. Nothing is logged. Not
/// thread-safe; separate objects are.
class KELM_API KelmDateFormatter {
 public:
  /// `init` The user's locale, no pattern, the system's time zone.
  KelmDateFormatter();
  /// `dateFormatter`
  static KelmDateFormatter dateFormatter() { return {}; }

  const std::string& locale() const { return locale_; }
  /// An identifier such as "it_IT".
  void setLocale(std::string locale) { locale_ = std::move(locale); }
  std::optional<std::string_view> dateFormat() const { return dateFormat_.view(); }
  /// A date pattern of Unicode's UTS #35, such as "dd/MM/yyyy HH:mm"; none counts as empty.
  void setDateFormat(BorrowedText pattern) { dateFormat_ = pattern; }
  const TimeZone* timezone() const { return timezone_; }
  /// nullptr: the system's.
  void setTimezone(const TimeZone* timezone) { timezone_ = timezone; }
  std::optional<std::string_view> amSymbol() const { return amSymbol_.view(); }
  /// What stands for the hours before noon in formatted texts; without one the locale's own.
  void setAmSymbol(BorrowedText symbol) { amSymbol_ = symbol; }
  std::optional<std::string_view> pmSymbol() const { return pmSymbol_.view(); }
  void setPmSymbol(BorrowedText symbol) { pmSymbol_ = symbol; }

  /// `formattedStringWithDate:` The date in the pattern, to the nearest millisecond. Absent for an
  /// absent date, one that is no number, and a pattern that has letters without a meaning.
  std::optional<std::string> formattedStringWithDate(std::optional<Date> date) const;
  /// `formattedStringWithTimestamp:`
  std::optional<std::string> formattedStringWithTimestamp(std::int64_t milliseconds) const;
  /// `formattedStringWithTimestampString:` Absent where `dateWithTimestampString` is.
  std::optional<std::string> formattedStringWithTimestampString(
      std::optional<std::string_view> timestamp) const;
  /// `dateWithFormattedString:` The date that the whole text is in the pattern, read leniently
  /// (2023-02-30 is March 2), with the locale's own symbols of the halves of a day. A year of two
  /// digits is one of 1950 to 2049; what the pattern lacks is that of 2000-01-01 00:00. Absent for
  /// an absent or empty text, one that does not match, more than 4096 characters, a number that
  /// its field cannot hold (2147483647 at most), and one of more than 12 digits where the pattern
  /// has a fraction of a second.
  std::optional<Date> dateWithFormattedString(std::optional<std::string_view> text) const;
  /// `timestampWithFormattedString:` Its timestamp, cut to whole milliseconds; 0 when there is
  /// none.
  std::int64_t timestampWithFormattedString(std::optional<std::string_view> text) const;

  /// `dateWithTimestamp:`
  Date dateWithTimestamp(std::int64_t milliseconds) const;
  /// `dateWithTimestampString:` The date of a decimal number, whose fraction is dropped. Absent
  /// for an absent or empty text and for one that is no number.
  std::optional<Date> dateWithTimestampString(std::optional<std::string_view> timestamp) const;
  /// `timestampWithTimestampString:` The number without its fraction, clamped to 64 bits; 0 for an
  /// absent or empty text and for one that is no number.
  static std::int64_t timestampWithTimestampString(std::optional<std::string_view> timestamp);
  /// `timestampWithDate:` Cut to whole milliseconds, clamped to 64 bits; 0 for an absent date.
  static std::int64_t timestampWithDate(std::optional<Date> date);
  /// `timestampStringWithDate:` Absent for an absent date.
  static std::optional<std::string> timestampStringWithDate(std::optional<Date> date);
  /// `timezoneWithTimezoneOffsetString:` The zone so many milliseconds east of GMT, cut to whole
  /// seconds. Absent for an absent or empty text, one that is no number, and beyond 18 hours.
  static std::optional<TimeZone> timezoneWithTimezoneOffsetString(
      std::optional<std::string_view> offset);

 private:
  std::string locale_;
  BorrowedText dateFormat_ = std::nullopt;
  const TimeZone* timezone_;
  BorrowedText amSymbol_ = std::nullopt;
  BorrowedText pmSymbol_ = std::nullopt;
};

}  // namespace kelm
