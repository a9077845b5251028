#pragma once

#include <cstdint>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// A hash of the text by folded 128-bit products, under a key that the process draws once, so that
/// nobody outside can prepare keys that meet in one slot. No digest: it protects tables only.
KELM_API std::uint64_t textHash(std::string_view text);

}  // namespace kelm
