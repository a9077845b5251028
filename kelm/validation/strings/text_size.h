#pragma once

#include <string>

#include "kelm/base/export.h"

namespace kelm {

/// Width and height in points.
struct Size {
  double width = 0;
  double height = 0;

  bool operator==(const Size&) const = default;
};

/// A font of the system: a family, with words for its style behind it if wanted ("DejaVu Sans
/// Bold"). Where there is no such family the system's nearest one stands in.
struct Font {
  std::string name;
  double size = 0;  // of the em square, in points
};

/// What "%@" prints: "{100, 9.5}", and "<Font: DejaVu Sans Bold; size: 12>".
KELM_API std::string describe(const Size& size);
KELM_API std::string describe(const Font& font);

}  // namespace kelm
