#include "kelm/validation/formatting/date_pattern_format.h"

#include <unicode/calendar.h>
#include <unicode/dtfmtsym.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "kelm/validation/formatting/date_digits.h"
#include "kelm/validation/formatting/prototype_cache.h"
#include "kelm/validation/formatting/time_zone_rules.h"
#include "kelm/validation/icu_text.h"

namespace kelm {
namespace {

using icu::SimpleDateFormat;
using icu::UnicodeString;

constexpr UDate kNewYear1950 = -631152000000.0;
constexpr int kYearOfBareTimes = 2000;
constexpr std::int32_t kMostCharacters = 4096;
// ICU divides a fraction of n digits by ten to the n-3, which has to fit 32 bits: with 35 digits it
// divides by zero.
constexpr std::int32_t kMostFractionDigits = 12;

/// The formatter of a locale with nothing set, and one that differs in how fast it is alone.
struct Prototype {
  std::unique_ptr<const SimpleDateFormat> plain;
  std::unique_ptr<const SimpleDateFormat> quick;  // nullptr where numbers are more than digits
};

std::shared_ptr<const Prototype> madePrototype(const std::string& localeName) {
  UErrorCode status = U_ZERO_ERROR;
  auto plain =
      std::make_unique<SimpleDateFormat>(UnicodeString(), icu::Locale(localeName.c_str()), status);
  if (U_FAILURE(status)) return nullptr;
  auto prototype = std::make_shared<Prototype>();
  // Other calendars may print some of their fields with numbers of another kind.
  if (std::strcmp(plain->getCalendar()->getType(), "gregorian") == 0)
    if (auto digits = quickDateDigits(*plain->getNumberFormat())) {
      auto quick = std::make_unique<SimpleDateFormat>(*plain);
      quick->adoptNumberFormat(digits.release());
      prototype->quick = std::move(quick);
    }
  prototype->plain = std::move(plain);
  return prototype;
}

std::shared_ptr<const Prototype> prototype(std::string_view localeName) {
  static auto& cache = *new PrototypeCache<std::string, Prototype>;
  const std::string name(localeName);
  return cache.get(name, [&name] {
    auto made = madePrototype(name);
    return made ? made : madePrototype("");
  });
}

/// The letters of the longest row of fields that follow each other at once; 0 without one. How many
/// digits the first of two such numbers takes, and that they have no sign, is a matter for the
/// plain formatter.
std::int32_t adjoiningLetters(std::string_view pattern) {
  char before = '\0';  // the letter before, outside of quotes
  bool isQuoted = false;
  bool adjoins = false;
  std::int32_t length = 0;
  std::int32_t longest = 0;
  for (const char c : pattern) {
    if (c == '\'') isQuoted = !isQuoted;
    const bool isLetter = !isQuoted && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'));
    adjoins = isLetter && (adjoins || (before != '\0' && before != c));
    length = isLetter ? length + 1 : 0;
    if (adjoins) longest = std::max(longest, length);
    before = isLetter ? c : '\0';
  }
  return longest;
}

bool hasField(std::string_view pattern, char letter) {
  bool isQuoted = false;
  return std::any_of(pattern.begin(), pattern.end(), [&](char c) {
    if (c == '\'') isQuoted = !isQuoted;
    return c == letter && !isQuoted;
  });
}

/// True if every number of the text fits the field that takes it. ICU keeps the low 32 bits of a
/// number. Of a row of adjoining fields the first takes all digits that the others leave.
bool haveRoom(const UnicodeString& text, std::string_view pattern) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMoreThanLetters = 5;
  const std::int32_t adjoining = adjoiningLetters(pattern);
  const bool hasFraction = hasField(pattern, 'S');
  std::int32_t length = 0;
  std::int64_t value = 0;
  bool isFraction = false;
  for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
    const std::int32_t digit = u_charDigitValue(text.char32At(at));
    if (digit < 0) {
      length = 0;
      value = 0;
      isFraction = hasFraction && (text.charAt(at) == u'.' || text.charAt(at) == u',');
      continue;
    }
    ++length;
    value = std::min(value * 10 + digit, kMost + 1);
    if (hasFraction && length > kMostFractionDigits) return false;
    if (adjoining > 0 ? length > adjoining + kMoreThanLetters : value > kMost && !isFraction)
      return false;
  }
  return true;
}

std::unique_ptr<SimpleDateFormat> configured(const SimpleDateFormat& from, const DateStyle& style) {
  std::unique_ptr<SimpleDateFormat> format(from.clone());
  format->applyPattern(icuText(style.pattern));
  format->adoptTimeZone(style.zone.rules().zone->clone());
  UErrorCode status = U_ZERO_ERROR;
  format->set2DigitYearStart(kNewYear1950, status);
  return format;
}

void setDayHalves(SimpleDateFormat& format, const DateStyle& style) {
  icu::DateFormatSymbols symbols(*format.getDateFormatSymbols());
  std::int32_t count = 0;
  const UnicodeString* own = symbols.getAmPmStrings(count);
  if (count != 2) return;
  UnicodeString halves[] = {own[0], own[1]};
  if (style.amSymbol) halves[0] = icuText(*style.amSymbol);
  if (style.pmSymbol) halves[1] = icuText(*style.pmSymbol);
  symbols.setAmPmStrings(halves, 2);
  format.setDateFormatSymbols(symbols);
}

}  // namespace

std::optional<std::string> formattedDate(Date date, const DateStyle& style) {
  const auto kept = prototype(style.locale);
  if (!kept || std::isnan(date.secondsSince1970)) return {};
  const auto format = configured(kept->quick ? *kept->quick : *kept->plain, style);
  if (style.amSymbol || style.pmSymbol) setDayHalves(*format, style);
  UErrorCode status = U_ZERO_ERROR;
  UnicodeString text;
  // Half a millisecond more, as the formatter rounds down.
  format->format(date.secondsSince1970 * 1000.0 + 0.5, text, nullptr, status);
  return U_SUCCESS(status) ? std::optional(utf8Text(text)) : std::nullopt;
}

std::optional<Date> parsedDate(std::string_view text, const DateStyle& style) {
  if (text.size() > 3 * kMostCharacters) return {};
  const UnicodeString typed = icuText(text);
  const auto kept = prototype(style.locale);
  if (!kept || typed.length() > kMostCharacters) return {};
  if (!haveRoom(typed, style.pattern)) return {};
  const bool isQuick = kept->quick && adjoiningLetters(style.pattern) == 0;
  const auto format = configured(isQuick ? *kept->quick : *kept->plain, style);
  format->setLenient(true);
  const std::unique_ptr<icu::Calendar> calendar(format->getCalendar()->clone());
  calendar->clear();
  calendar->set(UCAL_YEAR, kYearOfBareTimes);
  icu::ParsePosition position(0);
  format->parse(typed, *calendar, position);
  // An empty pattern reads nothing without calling it an error.
  if (position.getErrorIndex() >= 0 || position.getIndex() == 0 ||
      position.getIndex() != typed.length())
    return {};
  UErrorCode status = U_ZERO_ERROR;
  const UDate milliseconds = calendar->getTime(status);
  if (U_FAILURE(status)) return {};
  return Date{milliseconds / 1000.0};
}

}  // namespace kelm
