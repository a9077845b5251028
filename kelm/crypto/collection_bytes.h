#pragma once

#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/value.h"

namespace kelm {

/// The bytes of a data value; absent for the null object and every other kind. Valid while the
/// value is.
inline std::optional<DataView> bytesOfValue(const Value& value) {
  const Data* const data = value.get<Data>();
  return data != nullptr ? std::optional<DataView>(*data) : std::nullopt;
}

}  // namespace kelm
