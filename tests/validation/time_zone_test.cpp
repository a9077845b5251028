#include "kelm/validation/formatting/time_zone.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "kelm/base/civil_time.h"
#include "kelm/platform/file_system.h"
#include "kelm/testing/test_platform.h"
#include "kelm/validation/formatting/posix_zone_rule.h"
#include "kelm/validation/formatting/zone_table.h"

namespace kelm {
namespace {

Data zoneFile(const std::string& name) {
  const auto file =
      platform::current<platform::FileSystem>()->readFile("/usr/share/zoneinfo/" + name);
  return file ? *file : Data();
}

TEST(TimeZone, OffsetsOfEveryEraAreThoseOfTheSystem) {
  for (const char* name :
       {"Europe/Rome", "Europe/Dublin", "America/New_York", "America/Mexico_City",
        "America/Sao_Paulo", "Africa/Casablanca", "Africa/Cairo", "Asia/Almaty", "Asia/Gaza",
        "Asia/Kathmandu", "Australia/Lord_Howe", "Pacific/Apia", "America/Nuuk", "Antarctica/Troll",
        "Etc/GMT+5"}) {
    const auto zone = TimeZone::named(name);
    ASSERT_TRUE(zone && zone->isFromSystemFiles()) << name;
    ASSERT_EQ(setenv("TZ", name, 1), 0);
    tzset();
    constexpr std::int64_t k1900 = -2208988800;
    constexpr std::int64_t k3000 = 32503680000;
    for (std::int64_t seconds = k1900; seconds < k3000; seconds += 777777) {
      const std::time_t time = seconds;
      std::tm local{};
      localtime_r(&time, &local);
      ASSERT_EQ(zone->secondsEastOfGmt(Date{static_cast<double>(seconds)}), local.tm_gmtoff)
          << name << ' ' << seconds;
    }
  }
  unsetenv("TZ");
  tzset();
}

TEST(TimeZone, TheSavingOfAZoneIsWhatItsClocksAreAhead) {
  const double july2023 = 1688200000;
  const double january2023 = 1672600000;
  const struct {
    const char* name;
    double seconds;
    std::int32_t total, saving;
  } rows[] = {
      {"Europe/Rome", july2023, 7200, 3600},
      {"Europe/Rome", january2023, 3600, 0},
      {"Europe/Dublin", july2023, 3600, 3600},
      {"Europe/Dublin", january2023, 0, 0},
      {"Australia/Lord_Howe", january2023, 39600, 1800},
      {"Europe/Dublin", 64.015e9, 3600, 3600},  // 3998, in summer
  };
  for (const auto& row : rows) {
    const auto table = ZoneTable::fromTzif(zoneFile(row.name));
    ASSERT_TRUE(table) << row.name;
    EXPECT_EQ(table->at(static_cast<std::int64_t>(row.seconds)),
              (ZoneOffset{row.total, row.saving}))
        << row.name << ' ' << row.seconds;
  }
}

TEST(TimeZone, WithoutTheSystemsFilesIcuKnowsTheZones) {
  const testing::TestPlatform services;
  const testing::TestScope scope(services);
  const auto rome = TimeZone::named("Europe/Rome");
  ASSERT_TRUE(rome);
  EXPECT_FALSE(rome->isFromSystemFiles());
  EXPECT_EQ(rome->secondsEastOfGmt(Date{1690000000}), 7200);
}

TEST(TimeZone, NamesThatLeadElsewhereAreNone) {
  for (const char* name :
       {"", "/", "Nowhere/Atall", "../../../etc/localtime", "Europe/../Europe/Rome",
        "/usr/share/zoneinfo/Europe/Rome", "Europe//Rome", "Europe", "Europe/", "zone.tab",
        "Nowhere", "Etc/Unknown"})
    EXPECT_FALSE(TimeZone::named(name)) << name;
  EXPECT_FALSE(TimeZone::named(std::string_view("UTC\0", 4)));
  EXPECT_FALSE(TimeZone::named(std::string(100000, 'a')));
}

TEST(TimeZone, DamagedFilesAreAbsentOrHarmless) {
  const Data whole = zoneFile("Europe/Dublin");
  ASSERT_GT(whole.size(), 100U);
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(ZoneTable::fromTzif(DataView(whole).first(size))) << size;
  int read = 0;
  for (std::size_t at = 0; at < whole.size(); at += at < 200 ? 1 : 7) {
    Data damaged = whole;
    damaged[at] ^= at % 2 == 0 ? 0xff : 0x01;
    const auto table = ZoneTable::fromTzif(damaged);
    if (!table) continue;
    ++read;
    for (const std::int64_t seconds :
         {std::int64_t{-100000000000}, std::int64_t{1700000000}, std::int64_t{1000000000000000}}) {
      EXPECT_LE(std::abs(table->at(seconds).total), 93599);
      EXPECT_LE(std::abs(table->atLocal(seconds).total), 93599);
    }
  }
  EXPECT_GT(read, 0);
}

TEST(PosixZoneRule, DaysOfEveryKindAreFound) {
  const auto day = [](const char* rule, std::int64_t year) {
    const auto read = PosixZoneRule::fromText(rule);
    if (!read || !read->summer) return std::string("none");
    const CivilTime c = civilTime(read->summer->begin.inYear(year));
    return std::to_string(c.month) + '-' + std::to_string(c.day) + ' ' + std::to_string(c.hour);
  };
  EXPECT_EQ(day("CET-1CEST,M3.5.0,M10.5.0/3", 2023), "3-26 2");
  EXPECT_EQ(day("CET-1CEST,M3.5.0,M10.5.0/3", 2024), "3-31 2");
  EXPECT_EQ(day("EST5EDT,M3.2.0,M11.1.0", 2024), "3-10 2");
  EXPECT_EQ(day("<-02>2<-01>,M3.5.0/-1,M10.5.0/0", 2024), "3-30 23");
  EXPECT_EQ(day("EET-2EEST,M12.5.0/25,M1.1.0", 2023), "1-1 1");
  EXPECT_EQ(day("AAA0BBB,J60,J300", 2023), "3-1 2");
  EXPECT_EQ(day("AAA0BBB,J60,J300", 2024), "3-1 2");
  EXPECT_EQ(day("AAA0BBB,J59,J300", 2024), "2-28 2");
  EXPECT_EQ(day("AAA0BBB,59,300", 2023), "3-1 2");
  EXPECT_EQ(day("AAA0BBB,59,300", 2024), "2-29 2");
  EXPECT_EQ(PosixZoneRule::fromText("<+0330>-3:30")->offset, 12600);
  EXPECT_EQ(PosixZoneRule::fromText("AAA-1BBB-2:30,0,365")->summer->offset, 9000);
  for (const char* wrong :
       {"", "CET", "CE-1", "CET-25", "CET-1CEST", "CET-1CEST,M3.5.0", "CET-1CEST,M13.1.0,M1.1.0",
        "CET-1CEST,M3.0.0,M1.1.0", "CET-1CEST,M3.5.7,M1.1.0", "CET-1CEST,J0,J1", "CET-1CEST,366,1",
        "CET-1CEST,M3.5.0,M10.5.0x", "<CET-1", "CET-1:60", "CET--1"})
    EXPECT_FALSE(PosixZoneRule::fromText(wrong)) << wrong;
}

}  // namespace
}  // namespace kelm
