#pragma once

#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/geometry.h"
#include "kelm/platform/graphics/image.h"

namespace kelm::pixels {

/// A gray picture that is 255 inside of the rounded rectangle which fills it, and at its edge as
/// much of that as the pixel is covered. Radii in pixels. Absent for a side below 1 or too large.
KELM_API std::optional<Image> roundedMask(double width, double height, const CornerRadii& radii);

/// The picture, each pixel times the gray tone (or alpha) of the mask at that place; transparent
/// where the mask does not reach.
KELM_API std::optional<Image> masked(const Image& image, const Image& mask);

/// Draws the picture over the buffer's pixels, its upper left one at (x, y); what is outside is
/// left out.
KELM_API void drawOver(PixelBuffer& below, const Image& image, int x, int y);

/// The pixels as they are, in a buffer that can be written; coloured. Absent when there is no
/// memory.
KELM_API std::optional<PixelBuffer> copyOf(const Image& image);

}  // namespace kelm::pixels
