#pragma once

#include <algorithm>
#include <cmath>

#include "kelm/platform/graphics/image.h"
#include "kelm/platform/graphics/screen.h"

namespace kelm::imaging {

inline double screenScale() { return platform::current<platform::Screen>()->mainScreen().scale; }

/// Points as whole pixels: to the nearest, at least one of what is visible; 0 for all else.
inline double wholePixels(double points, double scale) {
  const double pixels = points * scale;
  return pixels > 0 ? std::max(std::floor(pixels + 0.5), 1.0) : 0;
}

inline Size wholePixels(Size points, double scale) {
  return {wholePixels(points.width, scale), wholePixels(points.height, scale)};
}

/// The sides of the rows in memory that a picture has which is seen as wide and high as `seen`.
inline Size rowsSize(Orientation orientation, Size seen) {
  const bool isOnItsSide = (static_cast<unsigned>(orientation) & 2U) != 0;
  return isOnItsSide ? Size{seen.height, seen.width} : seen;
}

}  // namespace kelm::imaging
