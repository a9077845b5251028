#include "kelm/validation/formatting/posix_zone_rule.h"

#include <algorithm>

#include "kelm/base/civil_time.h"

namespace kelm {
namespace {

using Day = PosixZoneRule::Day;

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// Reads from the front of a text; once something did not fit, everything fails.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool isAtEnd() const { return rest_.empty(); }
  bool failed() const { return failed_; }
  bool take(char c) {
    const bool isThere = rest_.starts_with(c);
    if (isThere) rest_.remove_prefix(1);
    return isThere;
  }
  void expect(char c) {
    if (!take(c)) failed_ = true;
  }
  int number(int least, int most) {
    int number = 0;
    std::size_t count = 0;
    for (; count < rest_.size() && count < 3 && isDigit(rest_[count]); ++count)
      number = number * 10 + (rest_[count] - '0');
    rest_.remove_prefix(count);
    if (count == 0 || number < least || number > most) failed_ = true;
    return number;
  }
  /// "[+-]hh[:mm[:ss]]" in seconds.
  std::int32_t time(int mostHours) {
    const bool isNegative = take('-');
    if (!isNegative) take('+');
    std::int32_t seconds = number(0, mostHours) * 3600;
    if (take(':')) seconds += number(0, 59) * 60;
    if (take(':')) seconds += number(0, 59);
    return isNegative ? -seconds : seconds;
  }
  /// "CET" or "<+0330>".
  void name() {
    const bool isQuoted = take('<');
    const auto end = std::find_if(rest_.begin(), rest_.end(), [&](char c) {
      return !isLetter(c) && !(isQuoted && (isDigit(c) || c == '+' || c == '-'));
    });
    const auto length = static_cast<std::size_t>(end - rest_.begin());
    if (length < 3) failed_ = true;
    rest_.remove_prefix(length);
    if (isQuoted) expect('>');
  }
  Day day() {
    Day day;
    if (take('M')) {
      day.month = number(1, 12);
      expect('.');
      day.week = number(1, 5);
      expect('.');
      day.weekday = number(0, 6);
    } else if (take('J')) {
      day.kind = Day::Kind::Julian;
      day.day = number(1, 365);
    } else {
      day.kind = Day::Kind::Ordinal;
      day.day = number(0, 365);
    }
    if (take('/')) day.seconds = time(167);
    return day;
  }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

std::int64_t dayNumber(std::int64_t year, int month, int day) {
  return secondsSince1970({year, month, day}) / kSecondsPerDay;
}

}  // namespace

std::int64_t Day::inYear(std::int64_t year) const {
  const std::int64_t newYear = dayNumber(year, 1, 1);
  std::int64_t number = newYear + day;
  if (kind == Kind::Julian) {
    const bool isLeap = dayNumber(year, 3, 1) - newYear == 60;
    number += isLeap && day >= 60 ? 0 : -1;
  } else if (kind == Kind::Month) {
    const std::int64_t first = dayNumber(year, month, 1);
    const std::int64_t next =
        month == 12 ? dayNumber(year + 1, 1, 1) : dayNumber(year, month + 1, 1);
    const std::int64_t firstWeekday = ((first + 4) % 7 + 7) % 7;  // 1970-01-01 was a Thursday
    number = first + (weekday - firstWeekday + 7) % 7 + (week - 1) * 7;
    if (number >= next) number -= 7;
  }
  return number * kSecondsPerDay + seconds;
}

std::optional<PosixZoneRule> PosixZoneRule::fromText(std::string_view text) {
  Reader reader(text);
  PosixZoneRule rule;
  reader.name();
  rule.offset = -reader.time(24);  // POSIX counts to the west
  if (!reader.isAtEnd()) {
    Summer summer;
    reader.name();
    const bool hasOffset = !reader.take(',');
    summer.offset = hasOffset ? -reader.time(24) : rule.offset + 3600;
    if (hasOffset) reader.expect(',');
    summer.begin = reader.day();
    reader.expect(',');
    summer.end = reader.day();
    rule.summer = summer;
  }
  if (reader.failed() || !reader.isAtEnd()) return {};
  return rule;
}

}  // namespace kelm
