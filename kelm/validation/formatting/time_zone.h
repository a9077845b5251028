#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kelm/base/date.h"
#include "kelm/base/export.h"

namespace kelm {

/// A time zone: one offset for ever, or the changing ones of a place. A value type; copies share
/// what they know. Thread-safe.
class KELM_API TimeZone {
 public:
  /// A zone without a name, so many seconds east of GMT. Absent beyond 18 hours.
  static std::optional<TimeZone> fixed(std::int64_t secondsEastOfGmt);
  /// A zone of the tz database, such as "Europe/Rome", from the files that the system keeps up to
  /// date under /usr/share/zoneinfo; from ICU's own copy where there is no such file. Absent when
  /// neither knows the name.
  static std::optional<TimeZone> named(std::string_view name);
  /// The system's zone, by TZ or /etc/localtime when it is first asked for; GMT if they tell none.
  static const TimeZone& system();

  /// "Europe/Rome"; of a fixed zone "GMT" or "GMT+01:00".
  const std::string& name() const;
  std::int32_t secondsEastOfGmt(Date date) const;
  /// True for a zone that was read from the system's files.
  bool isFromSystemFiles() const;

  struct Rules;
  const Rules& rules() const { return *rules_; }

 private:
  explicit TimeZone(std::shared_ptr<const Rules> rules) : rules_(std::move(rules)) {}

  std::shared_ptr<const Rules> rules_;
};

}  // namespace kelm
