#pragma once

#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/geometry.h"
#include "kelm/platform/graphics/image.h"

namespace kelm::pixels {

/// How the rows in memory are to be rearranged; the numbers are those of `Orientation`, so that a
/// picture turned by its orientation is upright.
KELM_API std::optional<Image> turned(const Image& image, Orientation by);

/// The picture whose rows, in pixels with y downwards, went through the transform, in the smallest
/// picture that holds it: what the transform moves does not count. Quarter turns and mirrors move
/// whole pixels; everything else averages between neighbours, and over the area where it becomes
/// smaller, with smooth edges. Keeps the scale; the orientation is Up. Absent for a transform that
/// leaves no area or has a NaN, for a picture that would be too large, and without memory.
KELM_API std::optional<Image> transformed(const Image& image, const AffineTransform& transform);

}  // namespace kelm::pixels
