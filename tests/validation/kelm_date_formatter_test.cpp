#include "kelm/validation/formatting/kelm_date_formatter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kelm/validation/formatting/kelm_amount_formatter.h"
#include "tests/support/step_by_step.h"

namespace kelm {
namespace {

using Text = std::optional<std::string>;

constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
constexpr double kDay = 86400;
const TimeZone& gmt() {
  static const TimeZone zone = *TimeZone::fixed(0);
  return zone;
}

KelmDateFormatter formatter(const char* pattern, const char* locale = "en_US",
                            const TimeZone& zone = gmt()) {
  KelmDateFormatter formatter;
  formatter.setLocale(locale);
  formatter.setDateFormat(pattern);
  formatter.setTimezone(&zone);
  return formatter;
}

TEST(DateFormatter, BorrowsItsTextsAndZoneAndOwnsItsLocale) {
  std::string pattern = "yyyy";
  KelmDateFormatter made = KelmDateFormatter::dateFormatter();
  EXPECT_EQ(made.timezone(), &TimeZone::system());
  EXPECT_EQ(made.dateFormat(), std::nullopt);
  EXPECT_EQ(made.formattedStringWithDate(Date{0}), Text(""));
  made.setTimezone(&gmt());
  made.setDateFormat(pattern);
  EXPECT_EQ(made.formattedStringWithDate(Date{0}), Text("1970"));
  pattern = "MMyy";  // in the same storage
  EXPECT_EQ(made.formattedStringWithDate(Date{0}), Text("0170"));
  pattern = "HH:mm";
  EXPECT_EQ(made.formattedStringWithDate(Date{0}), Text("00:00"));
  made.setDateFormat(std::nullopt);
  made.setTimezone(nullptr);
  EXPECT_EQ(made.formattedStringWithDate(Date{0}), Text(""));
  EXPECT_FALSE((std::is_convertible_v<std::string, BorrowedText>));
}

TEST(DateFormatter, PrintsInPatternLocaleAndZone) {
  const TimeZone rome = *TimeZone::named("Europe/Rome");
  const TimeZone india = *TimeZone::fixed(19800);
  using Row = std::tuple<const char*, const char*, const TimeZone&, double, Text>;
  for (const auto& [pattern, locale, zone, seconds, text] :
       {Row{"dd/MM/yyyy HH:mm:ss", "it_IT", rome, 1700000000, "14/11/2023 23:13:20"},
        Row{"d MMMM yyyy", "it_IT", rome, 1700000000, "14 novembre 2023"},
        Row{"EEEE, MMM d", "en_US", gmt(), 1700000000, "Tuesday, Nov 14"},
        Row{"h:mm a", "de_DE", gmt(), 9 * 3600, "9:00 AM"},
        Row{"yyyy-MM-dd", "th_TH", gmt(), 0, "2513-01-01"},  // the Buddhist calendar
        Row{"yyyy-MM-dd", "ar_EG", gmt(), 0, "\u0661\u0669\u0667\u0660-\u0660\u0661-\u0660\u0661"},
        Row{"HH:mm Z zzzz", "en_US", gmt(), 0, "00:00 +0000 GMT"},
        Row{"HH:mm Z zzzz XXX", "en_US", india, 0, "05:30 +0530 GMT+05:30 +05:30"},
        Row{"HH:mm z zzzz", "en_GB", rome, 1690000000, "06:26 CEST Central European Summer Time"},
        Row{"ss.SSS", "en_US", gmt(), 1.001, "01.001"},
        Row{"ss.SSS", "en_US", gmt(), 1.0004, "01.000"},
        Row{"ss.SSS", "en_US", gmt(), 1.0006, "01.001"},
        Row{"ss.SSS", "en_US", gmt(), -0.0006, "59.999"},
        Row{"u", "sv_SE", gmt(), -63e9, "\u221227"},
        Row{"''yy 'Uhr'", "en_US", gmt(), 0, "'70 Uhr"}, Row{"nope", "en_US", gmt(), 0, {}},
        Row{"yyyy", "en_US", gmt(), std::nan(""), {}},
        Row{"G yyyy", "en_US", gmt(), 1e300, "AD 5828963"}})
    EXPECT_EQ(formatter(pattern, locale, zone).formattedStringWithDate(Date{seconds}), text)
        << pattern << ' ' << locale;
  EXPECT_EQ(formatter("yyyy").formattedStringWithDate(std::nullopt), std::nullopt);
  EXPECT_EQ(formatter("ss.SSS").formattedStringWithTimestamp(-1), Text("59.999"));
  EXPECT_EQ(formatter("ss.SSS").formattedStringWithTimestampString("1001.9"), Text("01.001"));
  EXPECT_EQ(formatter("ss.SSS").formattedStringWithTimestampString(""), std::nullopt);
}

TEST(DateFormatter, TheSymbolsOfTheDaysHalvesArePrintedAndNotRead) {
  KelmDateFormatter halves = formatter("h:mm a", "de_DE");
  halves.setAmSymbol("vorm.");
  EXPECT_EQ(halves.formattedStringWithDate(Date{9 * 3600}), Text("9:00 vorm."));
  EXPECT_EQ(halves.formattedStringWithDate(Date{21 * 3600}), Text("9:00 PM"));
  EXPECT_EQ(halves.dateWithFormattedString("9:00 vorm."), std::nullopt);
  EXPECT_EQ(halves.timestampWithFormattedString("9:00 vorm."), 0);
  EXPECT_TRUE(halves.dateWithFormattedString("9:00 AM"));
  halves.setPmSymbol("");
  EXPECT_EQ(halves.formattedStringWithDate(Date{21 * 3600}), Text("9:00 "));
}

/// Days from 1970-01-01 to a day of 2023.
constexpr double kFebruary3 = 19391;

TEST(DateFormatter, ReadsLenientlyButTheWholeText) {
  using Row = std::tuple<const char*, const char*, std::optional<double>>;
  const Row rows[] = {
      Row{"yyyy-MM-dd", "2023-02-03", kFebruary3 * kDay},
      Row{"yyyy-MM-dd", "2023/2/3", kFebruary3 * kDay},
      Row{"yyyy-MM-dd", "2023-02-30", (kFebruary3 + 27) * kDay},
      Row{"yyyy-MM-dd", "2022-14-03", kFebruary3 * kDay},
      Row{"yyyy-MM-dd", "\u0662\u0660\u0662\u0663-02-03", kFebruary3 * kDay},
      Row{"yyyy-MM-dd", "2023-02-03 ", {}}, Row{"yyyy-MM-dd", "2023-02-03x", {}},
      Row{"yyyy-MM-dd", "2023-02", {}}, Row{"yyyy-MM-dd", "abc", {}},
      Row{"yyyyMMdd", "20230203", kFebruary3 * kDay}, Row{"yyyyMMdd", "2023-203", {}},
      Row{"yyyy-MM-dd'T'HH:mm:ss.SSS", "2023-02-03T00:00:01.500", kFebruary3 * kDay + 1.5},
      Row{"d MMMM yyyy", "3 February 2023", kFebruary3 * kDay},
      Row{"yyyy-MM-dd HH:mm Z", "2023-02-03 01:00 +0100", kFebruary3 * kDay},
      // beyond what a field holds
      Row{"yyyy-MM-dd", "4294969319-02-03", {}}, Row{"yyyyMMdd", "42949693190203", {}},
      Row{"yyyy-MM-dd'T'HH:mm:ss.SSS", "4294969319-02-03T00:00:01.500", {}},
      // without a date of 2000-01-01
      Row{"HH:mm", "10:15", 10957 * kDay + 10 * 3600 + 900}, Row{"HH:mm", "24:00", 10958 * kDay},
      Row{"HH:mm", "25:61", {}},
      // 2049, 1950
      Row{"d/M/yy", "1/1/49", 28855 * kDay}, Row{"d/M/yy", "1/1/50", -7305 * kDay},
      Row{"d/M/yy", "1/1/1949", -7670 * kDay},
      // nothing to read, or by
      Row{"", "x", {}}, Row{"", "", {}}, Row{"nope", "1", {}}, Row{"yyyy", "\xff", {}}};
  for (const auto& [pattern, text, seconds] : rows) {
    const auto date = formatter(pattern).dateWithFormattedString(text);
    EXPECT_EQ(date ? std::optional(date->secondsSince1970) : std::nullopt, seconds)
        << pattern << ' ' << text;
  }
  EXPECT_EQ(formatter("yyyy").dateWithFormattedString(std::nullopt), std::nullopt);
  EXPECT_EQ(formatter("yyyy").dateWithFormattedString(std::string_view("1\0", 2)), std::nullopt);
  EXPECT_EQ(formatter("HH:mm:ss.SSS yyyy").timestampWithFormattedString("00:00:01.500 1970"), 1500);
}

TEST(DateFormatter, TimesThatClocksShowTwiceOrNeverFollowTheRules) {
  const TimeZone rome = *TimeZone::named("Europe/Rome");
  const KelmDateFormatter local = formatter("yyyy-MM-dd HH:mm", "en_US", rome);
  using Row = std::pair<const char*, const char*>;
  for (const auto& [text, zulu] :
       {Row{"2023-03-26 01:59", "03-26 00:59"}, Row{"2023-03-26 03:00", "03-26 01:00"},
        Row{"2023-03-26 02:30", "03-26 01:30"},  // never: an hour later
        Row{"2023-10-29 01:59", "10-28 23:59"}, Row{"2023-10-29 03:00", "10-29 02:00"},
        Row{"2023-10-29 02:30", "10-29 01:30"}})  // twice: the second time
    EXPECT_EQ(formatter("MM-dd HH:mm").formattedStringWithDate(local.dateWithFormattedString(text)),
              Text(zulu));
}

TEST(DateFormatter, TimestampsAreCutAndClamped) {
  using F = KelmDateFormatter;
  EXPECT_EQ(F::timestampStringWithDate(Date{1.5}), Text("1500"));
  EXPECT_EQ(F::timestampStringWithDate(Date{-1.9999}), Text("-1999"));
  EXPECT_EQ(F::timestampStringWithDate(std::nullopt), std::nullopt);
  EXPECT_EQ(F::timestampWithDate(std::nullopt), 0);
  EXPECT_EQ(F::timestampWithDate(Date{1e300}), kMost);
  EXPECT_EQ(F().dateWithTimestamp(-1), Date{-0.001});
  EXPECT_EQ(F::timestampWithDate(F().dateWithTimestamp(1001)), 1000);  // 1000.9999999999999
  using Row = std::tuple<const char*, std::int64_t, bool>;
  for (const auto& [text, number, isDate] :
       {Row{"1699999999999.9", 1699999999999, true}, Row{"-1.9", -1, true},
        Row{"99999999999999999999", kMost, true}, Row{"", 0, false}, Row{"abc", 0, false},
        Row{"12abc", 0, false}, Row{"NaN", 0, false}, Row{"1e999999999", 0, false}}) {
    EXPECT_EQ(F::timestampWithTimestampString(text), number) << text;
    EXPECT_EQ(F().dateWithTimestampString(text),
              isDate ? std::optional(F().dateWithTimestamp(number)) : std::nullopt);
  }
  EXPECT_EQ(F::timestampWithTimestampString(std::nullopt), 0);
}

TEST(DateFormatter, OffsetsMakeFixedZones) {
  using Row = std::tuple<const char*, std::int32_t, const char*>;
  for (const auto& [text, seconds, name] :
       {Row{"0", 0, "GMT"}, Row{"999", 0, "GMT"}, Row{"-999", 0, "GMT"},
        Row{"3600000", 3600, "GMT+01:00"}, Row{"-1800500", -1800, "GMT-00:30"},
        Row{"3661000", 3661, "GMT+01:01:01"}, Row{"64800000", 64800, "GMT+18:00"}}) {
    const auto zone = KelmDateFormatter::timezoneWithTimezoneOffsetString(text);
    ASSERT_TRUE(zone) << text;
    EXPECT_EQ(zone->secondsEastOfGmt(Date{0}), seconds) << text;
    EXPECT_EQ(zone->name(), name);
  }
  for (const char* wrong : {"64801000", "-64801000", "99999999999999999999", "", "abc"})
    EXPECT_FALSE(KelmDateFormatter::timezoneWithTimezoneOffsetString(wrong)) << wrong;
  EXPECT_FALSE(KelmDateFormatter::timezoneWithTimezoneOffsetString(std::nullopt));
}

TEST(DateFormatter, PrintsAndReadsAsAFormatterThatIsMadeForEachText) {
  const double dates[] = {-2e12, -6.3e10, -1.5, 0, 951782400.25, 1.7e9, 4.1e9, 3e11};
  const char* const texts[] = {
      "1/2/3", "01-02-2003", "-1/2/3", "12E3/1/1", "1.5/2/3", "5/6", "7", "1/2/3/4/5/6", "+1/2/3",
      // odd ones
      "1T2T3", "1\u00a02 3", "\uff11/\uff12/\uff13", "(1)/2/3", "010203", "1/-2/3", "1//3", "5 a"};
  for (const char* locale : {"en_US", "it_IT", "sv_SE", "he_IL", "fa_IR", "ja_JP", "bg_BG"})
    for (const char* pattern :
         {"d/M/y", "ddMMyy", "yyyy-MM-dd", "u M d H:m:s.SSS", "EEE d MMM", "h a", "D w W e k K",
          "dd'T'MM'T'y", "yyyyyyyyyyyyyyyyyyyyyyyy", "A"}) {
      const KelmDateFormatter ours = formatter(pattern, locale);
      icu::SimpleDateFormat theirs = testing::dateFormat(pattern, locale, *icu::TimeZone::getGMT());
      for (const double seconds : dates)
        EXPECT_EQ(ours.formattedStringWithDate(Date{seconds}),
                  testing::datePrintedStepByStep(theirs, seconds))
            << pattern << ' ' << locale;
      for (const char* typed : texts) {
        const auto date = ours.dateWithFormattedString(typed);
        EXPECT_EQ(date ? std::optional(date->secondsSince1970) : std::nullopt,
                  testing::dateReadStepByStep(theirs, typed))
            << pattern << ' ' << locale << ' ' << typed;
      }
    }
}

TEST(DateFormatter, HostileTextsCostLittle) {
  const KelmDateFormatter dates = formatter("d/M/yyyy HH:mm");
  EXPECT_EQ(dates.dateWithFormattedString(std::string(1000000, '1')), std::nullopt);
  EXPECT_EQ(dates.dateWithFormattedString("1E1000000000/1/2000 00:00E"), std::nullopt);
  EXPECT_EQ(dates.dateWithFormattedString(std::string(1000000, ' ') + "1/1/2000 00:00"),
            std::nullopt);
  dates.dateWithFormattedString("1E1000000000/1E999999999/1E999999999 1E999999999:1");
  dates.dateWithFormattedString(std::string(4000, '9') + "/1/2000 00:00");
  const KelmDateFormatter fractions = formatter("ss.SSS");
  EXPECT_TRUE(fractions.dateWithFormattedString("01.500000000000"));
  for (const std::size_t digits : {13, 35, 4000})
    EXPECT_EQ(fractions.dateWithFormattedString("01." + std::string(digits, '5')), std::nullopt);
  KelmDateFormatter odd = formatter("yyyy");
  for (const std::string& locale : {std::string(), std::string("xx_YY@calendar=none;numbers=roman"),
                                    std::string("\xff"), std::string(100000, 'a')}) {
    odd.setLocale(locale);
    EXPECT_TRUE(odd.formattedStringWithDate(Date{0}));
  }
}

TEST(DateFormatter, SeparateFormattersWorkOnSeveralThreads) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([thread] {
      const char* const locales[] = {"en_US", "it_IT", "ar_EG", "fa_IR"};
      const TimeZone zone = *TimeZone::named(thread % 2 == 0 ? "Europe/Rome" : "Asia/Tokyo");
      for (int i = 0; i < 40; ++i) {
        const std::string locale =
            locales[(thread + i) % 4] + std::string("@x=") + char('a' + i % 20);
        const KelmDateFormatter dates = formatter("d MMMM yyyy HH:mm zzzz", locale.c_str(), zone);
        const auto text = dates.formattedStringWithDate(Date{1.7e9});
        EXPECT_EQ(dates.dateWithFormattedString(text), Date{1699999980}) << *text;
        KelmAmountFormatter amounts = KelmAmountFormatter::defaultFormatter();
        amounts.setLocale(locale);
        EXPECT_EQ(amounts.consolidateRoundingNumber(12), Decimal(12));
      }
    });
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
}  // namespace kelm
