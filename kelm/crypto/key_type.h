#pragma once

#include <string_view>

namespace kelm {

/// The algorithm of a key.
inline constexpr std::string_view kSecAttrKeyTypeRSA = "42";
inline constexpr std::string_view kSecAttrKeyTypeEC = "73";

}  // namespace kelm
