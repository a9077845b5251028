#pragma once

#include <string>

#include "kelm/base/export.h"

namespace kelm {

/// A font of the system: a family, with words for its style behind it if wanted ("DejaVu Sans
/// Bold"). Where there is no such family the system's nearest one stands in.
struct Font {
  std::string name;
  double size = 0;  // of the em square, in points
};

}  // namespace kelm
