#pragma once

#include <cstdint>

namespace kelm {

/// A second of the proleptic Gregorian calendar in UTC.
struct CivilTime {
  std::int64_t year = 1970;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

inline constexpr std::int64_t kSecondsPerDay = 86400;

/// Safe for seconds of a magnitude up to 1e17, three thousand million years.
constexpr CivilTime civilTime(std::int64_t secondsSince1970) {
  std::int64_t days = secondsSince1970 / kSecondsPerDay;
  std::int64_t rest = secondsSince1970 % kSecondsPerDay;
  if (rest < 0) {
    rest += kSecondsPerDay;
    --days;
  }
  // Counted in eras of 400 years whose years begin in March, so that leap days come last.
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t marchMonth = (5 * dayOfYear + 2) / 153;
  CivilTime civil;
  civil.month = static_cast<int>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
  civil.day = static_cast<int>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
  civil.year = era * 400 + yearOfEra + (civil.month <= 2 ? 1 : 0);
  civil.hour = static_cast<int>(rest / 3600);
  civil.minute = static_cast<int>(rest / 60 % 60);
  civil.second = static_cast<int>(rest % 60);
  return civil;
}

/// The inverse, for fields that are in range.
constexpr std::int64_t secondsSince1970(const CivilTime& civil) {
  const std::int64_t year = civil.year - (civil.month <= 2 ? 1 : 0);
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t marchMonth = civil.month > 2 ? civil.month - 3 : civil.month + 9;
  const std::int64_t dayOfYear = (153 * marchMonth + 2) / 5 + civil.day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  const std::int64_t days = era * 146097 + dayOfEra - 719468;
  return days * kSecondsPerDay + civil.hour * 3600 + civil.minute * 60 + civil.second;
}

/// True when a calendar has this second; no leap seconds.
constexpr bool isValid(const CivilTime& civil) {
  if (civil.month < 1 || civil.month > 12 || civil.day < 1 || civil.hour < 0 || civil.hour > 23)
    return false;
  if (civil.minute < 0 || civil.minute > 59 || civil.second < 0 || civil.second > 59) return false;
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = civil.year % 4 == 0 && (civil.year % 100 != 0 || civil.year % 400 == 0);
  return civil.day <= kDays[civil.month - 1] + (civil.month == 2 && leap ? 1 : 0);
}

}  // namespace kelm
