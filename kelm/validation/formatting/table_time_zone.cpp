#include <unicode/calendar.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "kelm/base/civil_time.h"
#include "kelm/validation/formatting/time_zone_rules.h"
#include "kelm/validation/icu_text.h"

namespace kelm {
namespace {

constexpr std::int32_t kMilliseconds = 1000;

class TableTimeZone final : public icu::TimeZone {
 public:
  TableTimeZone(std::shared_ptr<const ZoneTable> table, const icu::UnicodeString& name)
      : icu::TimeZone(name), table_(std::move(table)) {}

  TableTimeZone* clone() const override { return new TableTimeZone(*this); }
  UClassID getDynamicClassID() const override {
    static const char id = 0;
    return const_cast<char*>(&id);
  }
  bool operator==(const icu::TimeZone& other) const override {
    return icu::TimeZone::operator==(other) && hasSameRules(other);
  }
  UBool hasSameRules(const icu::TimeZone& other) const override {
    const auto* table = dynamic_cast<const TableTimeZone*>(&other);
    return table != nullptr && table->table_ == table_;
  }

  void getOffset(UDate date, UBool local, std::int32_t& raw, std::int32_t& saving,
                 UErrorCode&) const override {
    const std::int64_t seconds = secondsOf(date);
    const ZoneOffset offset = local ? table_->atLocal(seconds) : table_->at(seconds);
    saving = offset.saving * kMilliseconds;
    raw = offset.total * kMilliseconds - saving;
  }
  /// The same from the fields of a standard time.
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t, std::int32_t millis, UErrorCode&) const override {
    const std::int64_t gregorian = era == 0 ? 1 - std::int64_t{year} : year;
    const std::int64_t standard =
        secondsSince1970({gregorian, month + 1, day}) + millis / kMilliseconds;
    return table_->at(standard - getRawOffset() / kMilliseconds).total * kMilliseconds;
  }
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t weekday, std::int32_t millis, std::int32_t,
                         UErrorCode& status) const override {
    return getOffset(era, year, month, day, weekday, millis, status);
  }
  void setRawOffset(std::int32_t) override {}  // a table does not change
  std::int32_t getRawOffset() const override {
    const ZoneOffset now = table_->at(secondsOf(icu::Calendar::getNow()));
    return (now.total - now.saving) * kMilliseconds;
  }
  UBool useDaylightTime() const override { return table_->hasSummerTime(); }
  UBool inDaylightTime(UDate date, UErrorCode&) const override {
    return table_->at(secondsOf(date)).saving != 0;
  }

 private:
  static std::int64_t secondsOf(UDate date) {
    constexpr double kFar = 1e15;  // past what a calendar can show
    return static_cast<std::int64_t>(std::floor(std::clamp(date / kMilliseconds, -kFar, kFar)));
  }

  const std::shared_ptr<const ZoneTable> table_;
};

}  // namespace

std::unique_ptr<icu::TimeZone> icuZoneOf(std::shared_ptr<const ZoneTable> table,
                                         const std::string& name) {
  return std::make_unique<TableTimeZone>(std::move(table), icuText(name));
}

}  // namespace kelm
