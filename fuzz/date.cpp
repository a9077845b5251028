// link: kelm_formatting ICU::uc ICU::i18n
// A byte for the locale, a pattern, "\n" and what someone typed: printing and reading agree with a
// formatter that is made for the text. The same bytes as a time-zone file and as a rule.

#include <unicode/simpletz.h>

#include <cmath>

#include "fuzz/support/target.h"
#include "kelm/validation/formatting/kelm_date_formatter.h"
#include "kelm/validation/formatting/posix_zone_rule.h"
#include "kelm/validation/formatting/zone_table.h"
#include "tests/support/step_by_step.h"

namespace kelm::fuzz {

static void checkZone(DataView bytes) {
  (void)PosixZoneRule::fromText(textOf(bytes));
  const auto table = ZoneTable::fromTzif(bytes);
  if (!table) return;
  for (const std::int64_t seconds :
       {std::int64_t{-1} << 50, std::int64_t{0}, std::int64_t{1} << 50})
    for (const auto& offset : {table->at(seconds), table->atLocal(seconds)})
      require(std::abs(offset.total) < 2 * 93600 && std::abs(offset.saving) < 4 * 93600);
}

void run(DataView input) {
  checkZone(input);
  if (input.empty()) return;
  constexpr const char* kLocales[] = {"en_US", "it_IT", "ar_EG", "fa_IR", "th_TH",
                                      "sv_SE", "he_IL", "ja_JP", "bg_BG", "zh_TW"};
  const char* const locale = kLocales[input[0] % 10];
  std::string_view typed = textOf(input.subspan(1));
  const std::string_view pattern = takeLine(typed);

  const TimeZone zone = *TimeZone::fixed(0);
  KelmDateFormatter formatter;
  formatter.setLocale(locale);
  formatter.setDateFormat(pattern);
  formatter.setTimezone(&zone);
  const icu::SimpleTimeZone gmt(0, icu::UnicodeString(u"GMT+00:00"));
  icu::SimpleDateFormat theirs = testing::dateFormat(pattern, locale, gmt);
  for (const double seconds : {-1e11, -1.0, static_cast<double>(input.size()) * 1e7 + input[0]})
    require(formatter.formattedStringWithDate(Date{seconds}) ==
            testing::datePrintedStepByStep(theirs, seconds));
  const auto date = formatter.dateWithFormattedString(typed);
  if (typed.size() > 4096) return;
  // With a number too long for a fraction of a second ICU divides by zero.
  if (!date && pattern.find('S') != std::string_view::npos) return;
  const auto expected = testing::dateReadStepByStep(theirs, typed);
  require(date.has_value() == expected.has_value());
  if (date) require(date->secondsSince1970 == *expected && std::isfinite(*expected));
}

}  // namespace kelm::fuzz
