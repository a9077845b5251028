#include "kelm/platform/graphics/colour.h"

#include <cmath>

namespace kelm {
namespace {

double clamped(double component) {
  if (!(component > 0)) return 0;  // NaN too
  return component < 1 ? component : 1;
}

}  // namespace

std::uint32_t Colour::premultiplied() const {
  const double opacity = clamped(alpha);
  const auto byte = [](double part) { return static_cast<std::uint32_t>(std::lround(part * 255)); };
  return byte(opacity) << 24 | byte(clamped(red) * opacity) << 16 |
         byte(clamped(green) * opacity) << 8 | byte(clamped(blue) * opacity);
}

}  // namespace kelm
