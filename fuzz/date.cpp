// link: kelm_validation ICU::uc ICU::i18n
// A byte for the locale, a pattern, "\n" and what someone typed: printing and reading agree with a
// formatter that is made for the text. The same bytes as a time-zone file and as a rule.

#include <unicode/simpletz.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "kelm/base/data.h"
#include "kelm/validation/kelm_date_formatter.h"
#include "kelm/validation/posix_zone_rule.h"
#include "kelm/validation/zone_table.h"
#include "tests/support/step_by_step.h"

using kelm::Date;
using kelm::KelmDateFormatter;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void checkZone(kelm::DataView bytes) {
  (void)kelm::PosixZoneRule::fromText(kelm::textOf(bytes));
  const auto table = kelm::ZoneTable::fromTzif(bytes);
  if (!table) return;
  for (const std::int64_t seconds :
       {std::int64_t{-1} << 50, std::int64_t{0}, std::int64_t{1} << 50})
    for (const auto& offset : {table->at(seconds), table->atLocal(seconds)})
      require(std::abs(offset.total) < 2 * 93600 && std::abs(offset.saving) < 4 * 93600);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  checkZone({bytes, size});
  if (size == 0) return 0;
  constexpr const char* kLocales[] = {"en_US", "it_IT", "ar_EG", "fa_IR", "th_TH",
                                      "sv_SE", "he_IL", "ja_JP", "bg_BG", "zh_TW"};
  const char* const locale = kLocales[bytes[0] % 10];
  const std::string_view text = kelm::textOf({bytes + 1, size - 1});
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view pattern = text.substr(0, end);
  const std::string_view typed = text.substr(std::min(end + 1, text.size()));

  const kelm::TimeZone zone = *kelm::TimeZone::fixed(0);
  KelmDateFormatter formatter;
  formatter.setLocale(locale);
  formatter.setDateFormat(pattern);
  formatter.setTimezone(&zone);
  const icu::SimpleTimeZone gmt(0, icu::UnicodeString(u"GMT+00:00"));
  icu::SimpleDateFormat theirs = kelm::test::dateFormat(pattern, locale, gmt);
  for (const double seconds : {-1e11, -1.0, static_cast<double>(size) * 1e7 + bytes[0]})
    require(formatter.formattedStringWithDate(Date{seconds}) ==
            kelm::test::datePrintedStepByStep(theirs, seconds));
  const auto date = formatter.dateWithFormattedString(typed);
  if (typed.size() > 4096) return 0;
  const auto expected = kelm::test::dateReadStepByStep(theirs, typed);
  require(date.has_value() == expected.has_value());
  if (date) require(date->secondsSince1970 == *expected && std::isfinite(*expected));
  return 0;
}
