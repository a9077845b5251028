#pragma once

#include "kelm/base/data.h"
#include "kelm/platform/graphics/image.h"

namespace kelm::platform::codecs {

/// The orientation that EXIF data (a TIFF header and its first directory) tells; Up for data that
/// has none or is damaged.
Orientation orientationOf(DataView exif);
/// EXIF data that tells nothing but the orientation.
Data exifWith(Orientation orientation);

}  // namespace kelm::platform::codecs
