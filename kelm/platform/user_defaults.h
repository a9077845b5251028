#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/result.h"
#include "kelm/base/value.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// The application's settings, by key; values are what JSON can hold. Edits that others make to the
/// store are seen by the next read; of two processes that set at the same moment one may lose.
/// Thread-safe. On Linux: the JSON file $XDG_CONFIG_HOME/<bundle identifier>/defaults.json. While
/// it is malformed every key reads as absent; the next setObject() first keeps it as
/// "defaults.json.broken". One that cannot be read is never replaced.
class KELM_API UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  /// Holds the one in use; `current<UserDefaults>()` returns it.
  static Slot<UserDefaults>& slot();
  /// Makes the system's own.
  static std::shared_ptr<UserDefaults> makeSystem();
  virtual std::optional<Value> object(std::string_view key) const = 0;
  /// Kept once it returns no error; `Null` removes the key.
  virtual Failure setObject(std::string_view key, Value value) = 0;

  /// The text under a key; a number as its decimal text; absent for every other kind.
  std::optional<std::string> text(std::string_view key) const;
  /// The number under a key, or the number that a text begins with; 0 when there is none.
  std::int64_t integer(std::string_view key) const;
};

}  // namespace kelm::platform
