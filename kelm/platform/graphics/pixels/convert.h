#pragma once

#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/image.h"

namespace kelm::pixels {

/// The same picture with coloured pixels: gray tones become opaque. Itself where it has them.
/// Absent when there is no memory.
KELM_API std::optional<Image> coloured(const Image& image);
/// The same picture in gray tones: the weights of Rec. 601, over black where it is transparent.
KELM_API std::optional<Image> grayed(const Image& image);
/// How much of each pixel shows, as a gray picture: alpha, or the tones of a gray picture.
KELM_API std::optional<Image> maskOf(const Image& image);

}  // namespace kelm::pixels
