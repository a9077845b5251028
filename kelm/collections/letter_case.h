#pragma once

#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// The text in lower or upper case by the Unicode standard's full mappings, in no particular
/// language ("ß" has the upper case "SS"). Text that is not valid UTF-8 has only its ASCII letters
/// mapped.
KELM_API std::string lowerCased(std::string_view text);
KELM_API std::string upperCased(std::string_view text);

/// Whether the two are the same in upper case.
KELM_API bool equalInUpperCase(std::string_view a, std::string_view b);

}  // namespace kelm
