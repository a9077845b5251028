#include "kelm/platform/user_defaults.h"

#include <algorithm>
#include <limits>

#include "kelm/base/describe.h"

namespace kelm::platform {

Slot<UserDefaults>& UserDefaults::slot() {
  static constinit Slot<UserDefaults> held;
  return held;
}

namespace {

/// The whole number that a text begins with, after white space; 0 without one, clamped.
std::int64_t leadingInteger(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  std::int64_t number = 0;  // kept negative: that side reaches one further
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    if (__builtin_mul_overflow(number, 10, &number) ||
        __builtin_sub_overflow(number, c - '0', &number))
      return isNegative ? std::numeric_limits<std::int64_t>::min()
                        : std::numeric_limits<std::int64_t>::max();
  }
  if (isNegative) return number;
  return number == std::numeric_limits<std::int64_t>::min()
             ? std::numeric_limits<std::int64_t>::max()
             : -number;
}

}  // namespace

std::optional<std::string> UserDefaults::text(std::string_view key) const {
  const auto value = object(key);
  if (!value) return std::nullopt;
  if (value->isNumber()) return describe(*value);
  const auto text = value->text();
  return text ? std::optional(std::string(*text)) : std::nullopt;
}

std::int64_t UserDefaults::integer(std::string_view key) const {
  const auto value = object(key);
  if (!value) return 0;
  if (const auto text = value->text()) return leadingInteger(*text);
  return value->integer().value_or(0);
}

}  // namespace kelm::platform
