#pragma once

#include <compare>

namespace kelm {

/// A point in time: seconds since 1970-01-01T00:00:00Z, without leap seconds.
struct Date {
  double secondsSince1970 = 0;

  auto operator<=>(const Date&) const = default;
};

}  // namespace kelm
