#pragma once

#include <cstdint>
#include <string_view>

namespace kelm {

/// SipHash-1-3 of the text under a key that the process draws once, so that nobody outside can
/// prepare keys that meet in one slot.
std::uint64_t textHash(std::string_view text);

}  // namespace kelm
