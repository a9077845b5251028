#pragma once

#include <cstdint>

#include "kelm/base/export.h"

namespace kelm {

/// A colour of the sRGB colour space, encoded as in pictures (not linear), components from 0 to 1,
/// not multiplied by alpha. What lies outside of 0 to 1 counts as the nearer end, NaN as 0.
struct KELM_API Colour {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  /// Transparent black: the background of whatever shows what lies below.
  static constexpr Colour clear() { return {0, 0, 0, 0}; }
  static constexpr Colour black() { return {0, 0, 0, 1}; }
  static constexpr Colour white() { return {1, 1, 1, 1}; }
  /// From 0xRRGGBB, opaque.
  static constexpr Colour rgb(std::uint32_t hex) {
    return {(hex >> 16 & 255) / 255.0, (hex >> 8 & 255) / 255.0, (hex & 255) / 255.0, 1};
  }
  constexpr Colour withAlpha(double other) const { return {red, green, blue, other}; }

  /// As a pixel of a picture: 0xAARRGGBB, components multiplied by alpha and rounded.
  std::uint32_t premultiplied() const;

  bool operator==(const Colour&) const = default;
};

}  // namespace kelm
