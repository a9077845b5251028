#pragma once

#include <unicode/timezone.h>

#include <memory>
#include <string>

#include "kelm/validation/formatting/time_zone.h"
#include "kelm/validation/formatting/zone_table.h"

namespace kelm {

/// What a time zone is to ICU.
struct TimeZone::Rules {
  std::string name;
  std::unique_ptr<const icu::TimeZone> zone;
  bool isFromSystemFiles = false;
};

/// A zone of ICU's whose offsets are those of a table.
std::unique_ptr<icu::TimeZone> icuZoneOf(std::shared_ptr<const ZoneTable> table,
                                         const std::string& name);

}  // namespace kelm
