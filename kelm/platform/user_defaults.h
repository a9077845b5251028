#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/result.h"
#include "kelm/base/value.h"

namespace kelm::platform {

/// The application's settings, by key. Edits that others make to the store are seen by the next
/// read. Thread-safe.
class KELM_API UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  virtual std::optional<Value> object(std::string_view key) const = 0;
  /// Kept once it returns no error; `Null` removes the key.
  virtual Failure setObject(std::string_view key, Value value) = 0;

  /// The text under a key; a number as its decimal text; absent for every other kind.
  std::optional<std::string> text(std::string_view key) const;
  /// The number under a key, or the number that a text begins with; 0 when there is none.
  std::int64_t integer(std::string_view key) const;
};

}  // namespace kelm::platform
