#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kelm {

/// The rule of POSIX's TZ variable, such as "CET-1CEST,M3.5.0,M10.5.0/3", with the hours of -167
/// to 167 that RFC 8536 adds.
struct PosixZoneRule {
  /// A day of every year and a time on it.
  struct Day {
    enum class Kind {
      Month,    ///< `week` (5: the last) of `weekday` in `month`
      Julian,   ///< `day` 1 to 365, never counting February 29
      Ordinal,  ///< `day` 0 to 365
    };
    Kind kind = Kind::Month;
    int month = 1;
    int week = 1;
    int weekday = 0;
    int day = 0;
    std::int32_t seconds = 7200;  ///< of the clock before the change, after midnight

    /// As seconds since that clock showed 1970-01-01.
    std::int64_t inYear(std::int64_t year) const;
  };
  struct Summer {
    std::int32_t offset = 0;  ///< seconds east of GMT
    Day begin;
    Day end;
  };

  std::int32_t offset = 0;
  std::optional<Summer> summer;

  /// Absent for a text that is no such rule, and for summer time without its days.
  static std::optional<PosixZoneRule> fromText(std::string_view text);
};

}  // namespace kelm
