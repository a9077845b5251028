#include <array>
#include <chrono>

#include "kelm/base/ascii.h"
#include "kelm/platform/http/cookies.h"

namespace kelm::platform {

namespace {

/// Section 5.1.1's delimiters: what is neither letter, digit, colon nor a byte above ASCII.
bool isDelimiter(char c) {
  return !isAsciiAlphanumeric(c) && c != ':' && static_cast<unsigned char>(c) < 0x7F;
}

/// Reads `least` to `most` digits off the front; absent when they are fewer, or more follow.
std::optional<int> takeNumber(std::string_view& text, std::size_t least, std::size_t most) {
  std::size_t count = 0;
  int number = 0;
  while (count < text.size() && isAsciiDigit(text[count])) {
    if (count == most) return std::nullopt;
    number = number * 10 + (text[count++] - '0');
  }
  if (count < least) return std::nullopt;
  text.remove_prefix(count);
  return number;
}

std::optional<int> monthOf(std::string_view token) {
  static constexpr std::array<std::string_view, 12> kMonths = {
      "jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec"};
  for (std::size_t i = 0; i < kMonths.size(); ++i)
    if (equalsIgnoringCase(token.substr(0, 3), kMonths[i])) return static_cast<int>(i) + 1;
  return std::nullopt;
}

/// What was found so far; each part is taken from the first token that fits it.
struct Parts {
  std::optional<int> secondOfDay, day, month, year;

  bool readTime(std::string_view token) {
    const auto hour = takeNumber(token, 1, 2);
    if (!hour || !token.starts_with(':')) return false;
    token.remove_prefix(1);
    const auto minute = takeNumber(token, 1, 2);
    if (!minute || !token.starts_with(':')) return false;
    token.remove_prefix(1);
    const auto second = takeNumber(token, 1, 2);
    if (!second) return false;
    const bool valid = *hour <= 23 && *minute <= 59 && *second <= 59;
    secondOfDay = valid ? *hour * 3600 + *minute * 60 + *second : -1;
    return true;
  }

  void read(std::string_view token) {
    if (!secondOfDay && readTime(token)) return;
    std::string_view rest = token;
    if (!day && (day = takeNumber(rest, 1, 2))) return;
    if (!month && (month = monthOf(token))) return;
    rest = token;
    if (!year) year = takeNumber(rest, 2, 4);
  }

  std::optional<Date> date() const {
    if (!secondOfDay || *secondOfDay < 0 || !day || !month || !year) return std::nullopt;
    const int fullYear = *year < 70 ? *year + 2000 : *year < 100 ? *year + 1900 : *year;
    const std::chrono::year_month_day calendar{std::chrono::year(fullYear),
                                               std::chrono::month(static_cast<unsigned>(*month)),
                                               std::chrono::day(static_cast<unsigned>(*day))};
    if (fullYear < 1601 || !calendar.ok()) return std::nullopt;
    const auto days = std::chrono::sys_days(calendar).time_since_epoch().count();
    return Date{static_cast<double>(days) * 86400 + *secondOfDay};
  }
};

}  // namespace

std::optional<Date> parseCookieDate(std::string_view text) {
  Parts parts;
  std::size_t at = 0;
  while (at < text.size()) {
    if (isDelimiter(text[at])) {
      ++at;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && !isDelimiter(text[end]))
      ++end;
    parts.read(text.substr(at, end - at));
    at = end;
  }
  return parts.date();
}

}  // namespace kelm::platform
