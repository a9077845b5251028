#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// Overwrites a secret with zeros; the compiler cannot leave it out.
KELM_API void wipe(std::span<std::uint8_t> secret);
/// The same for text, up to its capacity; the text is empty afterwards.
KELM_API void wipe(std::string& secret);

/// Compares in a time that depends on the lengths alone.
[[nodiscard]] KELM_API bool equalInConstantTime(DataView a, DataView b);

}  // namespace kelm
