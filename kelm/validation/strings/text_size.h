#pragma once

#include <string>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/font.h"
#include "kelm/platform/graphics/geometry.h"

namespace kelm {

/// Returns the text that "%@" prints: "{100, 9.5}", and "<Font: DejaVu Sans Bold; size: 12>".
KELM_API std::string describe(const Size& size);
KELM_API std::string describe(const Font& font);

}  // namespace kelm
