#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"

namespace kelm {

/// RFC 4648, padded, on one line.
void appendBase64(std::string& out, DataView bytes);

/// The bytes; blanks and line ends anywhere do not count. Absent for every other character
/// outside of the alphabet and for wrong padding.
std::optional<Data> dataOfBase64(std::string_view text);

}  // namespace kelm
