#include "kelm/validation/formatting/time_zone.h"

#include <unicode/simpletz.h>
#include <unicode/ucal.h>

#include <cstdlib>

#include "kelm/base/format.h"
#include "kelm/platform/file_system.h"
#include "kelm/validation/formatting/time_zone_rules.h"
#include "kelm/validation/icu_text.h"

namespace kelm {
namespace {

constexpr std::string_view kZoneFolder = "/usr/share/zoneinfo/";
constexpr std::int64_t kMostFixedSeconds = 18 * 3600;

/// Letters, digits, "_", "+" and "-" between single "/": never a way out of the folder.
bool isZoneName(std::string_view name) {
  constexpr std::size_t kMostCharacters = 255;
  bool isAfterSlash = true;
  for (const char c : name) {
    const bool isSlash = c == '/';
    if (isSlash && isAfterSlash) return false;
    isAfterSlash = isSlash;
    if (!isSlash && std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                     "0123456789_+-")
                            .find(c) == std::string_view::npos)
      return false;
  }
  return !isAfterSlash && name.size() <= kMostCharacters;
}

std::string nameOfFixed(std::int64_t seconds) {
  if (seconds == 0) return "GMT";
  const std::int64_t size = std::abs(seconds);
  std::string name =
      format("GMT%s%02lld:%02lld", seconds < 0 ? "-" : "+", size / 3600, size / 60 % 60);
  if (size % 60 != 0) name += format(":%02lld", size % 60);
  return name;
}

}  // namespace

std::optional<TimeZone> TimeZone::fixed(std::int64_t seconds) {
  if (seconds < -kMostFixedSeconds || seconds > kMostFixedSeconds) return {};
  auto rules = std::make_shared<Rules>();
  rules->name = nameOfFixed(seconds);
  // ICU has a name for "GMT", "Greenwich Mean Time"; of other identifiers it shows the offset.
  const std::string identifier = seconds == 0 ? "GMT+00:00" : rules->name;
  rules->zone = std::make_unique<icu::SimpleTimeZone>(static_cast<std::int32_t>(seconds * 1000),
                                                      icuText(identifier));
  return TimeZone(std::move(rules));
}

std::optional<TimeZone> TimeZone::named(std::string_view name) {
  if (!isZoneName(name)) return {};
  auto rules = std::make_shared<Rules>();
  rules->name = name;
  const auto& files = *platform::current<platform::FileSystem>();
  const auto file = files.readFile(std::string(kZoneFolder).append(name));
  std::optional<ZoneTable> table = file ? ZoneTable::fromTzif(*file) : std::nullopt;
  if (table) {
    rules->zone = icuZoneOf(std::make_shared<ZoneTable>(std::move(*table)), rules->name);
    rules->isFromSystemFiles = true;
    return TimeZone(std::move(rules));
  }
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icuText(name)));
  icu::UnicodeString identifier;
  if (!zone || zone->getID(identifier) == icu::UnicodeString(UCAL_UNKNOWN_ZONE_ID)) return {};
  rules->zone = std::move(zone);
  return TimeZone(std::move(rules));
}

const TimeZone& TimeZone::system() {
  static const TimeZone& zone = *new TimeZone([] {
    const std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
    icu::UnicodeString name;
    const std::optional<TimeZone> found = host ? named(utf8Text(host->getID(name))) : std::nullopt;
    return found ? *found : *fixed(0);
  }());
  return zone;
}

const std::string& TimeZone::name() const { return rules_->name; }

std::int32_t TimeZone::secondsEastOfGmt(Date date) const {
  std::int32_t raw = 0;
  std::int32_t saving = 0;
  UErrorCode status = U_ZERO_ERROR;
  rules_->zone->getOffset(date.secondsSince1970 * 1000, false, raw, saving, status);
  return (raw + saving) / 1000;
}

bool TimeZone::isFromSystemFiles() const { return rules_->isFromSystemFiles; }

}  // namespace kelm
