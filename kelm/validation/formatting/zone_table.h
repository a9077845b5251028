#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"

namespace kelm {

/// What clocks of a zone show: seconds east of GMT, those of summer time included.
struct ZoneOffset {
  std::int32_t total = 0;
  std::int32_t saving = 0;  ///< how much of it is summer time

  bool operator==(const ZoneOffset&) const = default;
};

/// The offsets of a time zone for all time, read from a TZif file (RFC 8536).
class ZoneTable {
 public:
  /// Absent for bytes that are no TZif of version 2 or later.
  static std::optional<ZoneTable> fromTzif(DataView bytes);

  /// The offset at a moment.
  ZoneOffset at(std::int64_t secondsSince1970) const;
  /// The offset at a time that clocks of the zone show, as seconds since they showed 1970-01-01.
  /// Of a time that they show twice it is the later one; of one that they skip it is that before.
  ZoneOffset atLocal(std::int64_t localSeconds) const;
  /// True while summer time is still to come.
  bool hasSummerTime() const { return hasSummerTime_; }

 private:
  struct Transition {
    std::int64_t at = 0;
    ZoneOffset after;
  };

  /// Continues the transitions by the rule at the end of the file for a whole cycle of the
  /// calendar, 400 years.
  bool extend(std::string_view rule);
  std::int64_t withinTable(std::int64_t seconds) const;

  ZoneOffset first_;  // before any transition
  std::vector<Transition> transitions_;
  std::optional<std::int64_t> repeatsFrom_;  // from here on the last 400 years repeat
  bool hasSummerTime_ = false;
};

}  // namespace kelm
