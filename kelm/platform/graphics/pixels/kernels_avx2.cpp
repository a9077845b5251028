// Compiled for AVX2 where the compiler's target has it; called where the processor has it.
#include <bit>
#include <cstring>

#include "kelm/platform/graphics/pixels/kernels.h"

namespace kelm::pixels {

#ifdef __AVX2__

namespace {

#include "kelm/platform/graphics/pixels/kernels_code.h"

}  // namespace

const PixelKernels* avx2PixelKernels() {
  return __builtin_cpu_supports("avx2") ? &kKernels : nullptr;
}

#else

const PixelKernels* avx2PixelKernels() { return nullptr; }

#endif

}  // namespace kelm::pixels
