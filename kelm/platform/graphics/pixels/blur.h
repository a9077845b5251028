#pragma once

#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/image.h"

namespace kelm::pixels {

/// The picture by a Gaussian of that standard deviation in pixels, with its size, scale and
/// orientation; what lies beyond an edge is as the edge. The picture itself for a deviation of 0, a
/// negative one and NaN; more than 65,536 is as that. Absent when there is no memory.
///
/// Up to a deviation of 3 the Gaussian itself; above it three moving averages of the same variance,
/// which the eye cannot tell from it and which take the same time for any deviation.
KELM_API std::optional<Image> blurred(const Image& image, double deviation);

}  // namespace kelm::pixels
