#pragma once

#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/image.h"

namespace kelm::pixels {

/// The values that are averaged: the encoded values, as most programs do, or the light that they
/// stand for (IEC 61966-2-1), which keeps fine bright patterns as bright as they were and takes
/// longer.
enum class Averaging { Encoded, LinearLight };

/// The picture in that many pixels (of the rows in memory), with its scale and orientation. A side
/// that becomes smaller is averaged over the area, a larger one goes by Catmull and Rom's cubic
/// (which may not go beyond 0 to alpha). Absent for sides below 1 or too large.
KELM_API std::optional<Image> resized(const Image& image, double width, double height,
                                      Averaging averaging = Averaging::Encoded);

}  // namespace kelm::pixels
