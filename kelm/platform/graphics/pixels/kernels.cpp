#include "kelm/platform/graphics/pixels/kernels.h"

#include <bit>
#include <cstring>

namespace kelm::pixels {
namespace {

#include "kelm/platform/graphics/pixels/kernels_code.h"

}  // namespace

const PixelKernels& portablePixelKernels() { return kKernels; }

const PixelKernels& pixelKernels() {
  static const PixelKernels& fastest =
      avx2PixelKernels() != nullptr ? *avx2PixelKernels() : kKernels;
  return fastest;
}

}  // namespace kelm::pixels
