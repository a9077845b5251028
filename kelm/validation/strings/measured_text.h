#pragma once

#include <string_view>

#include "kelm/validation/strings/text_size.h"

namespace kelm {

/// The size of a text that is set in lines, broken at `within.width`, and of which no more lines
/// count than `within.height` holds, one at least; a bound of 0 or less is none. Unhinted:
/// proportional to the font's size. `hasLeading` adds the font's line gap to each line. Zero for a
/// font whose size is no positive number. Thread-safe: callers wait for each other.
Size measuredText(std::string_view text, const Font& font, Size within, bool hasLeading);

}  // namespace kelm
