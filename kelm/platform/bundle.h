#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/value.h"

namespace kelm::platform {

/// The installed application. Thread-safe.
class KELM_API Bundle {
 public:
  virtual ~Bundle() = default;
  /// Reverse-domain name, such as "com.example.till"; absent when the host gave none.
  virtual std::optional<std::string> identifier() const = 0;
  /// The application's read-only folder: absolute, no trailing "/".
  virtual std::string path() const = 0;
  /// A value of the application's description file; absent when it has none.
  virtual std::optional<Value> info(std::string_view key) const = 0;
};

}  // namespace kelm::platform
