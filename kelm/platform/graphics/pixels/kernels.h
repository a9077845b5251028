#pragma once

#include <cstddef>
#include <cstdint>

#include "kelm/base/export.h"

namespace kelm::pixels {

/// One pass of a moving average along a column: `2 radius + 1` pixels, and `edge` (0 to 1) of the
/// pixel beyond either end.
struct BoxPass {
  int radius = 0;
  double edge = 0;
};

/// The inner loops of drawing. Pixels are those of PixelFormat::Argb32 where nothing else is said;
/// `count` is in pixels. Rounding is to the nearest.
struct PixelKernels {
  /// Averages 8 pixels side by side down a column of `length` rows, whose first and last stand for
  /// those beyond. Writes the averages of the rows `begin` to `end`, which may lie beyond too, one
  /// below the other. Strides in bytes; `to` and `from` do not overlap.
  void (*boxColumn)(const std::uint8_t* from, std::size_t fromStride, int length, std::uint8_t* to,
                    std::size_t toStride, int begin, int end, const BoxPass& pass);
  /// Row x of `to` becomes column x of `from`. Strides in pixels; may be negative.
  void (*transpose)(const std::uint32_t* from, std::ptrdiff_t fromStride, std::uint32_t* to,
                    std::ptrdiff_t toStride, int width, int height);
  void (*reverse)(const std::uint32_t* from, std::uint32_t* to, std::size_t count);
  /// Source over destination, as Porter and Duff have it.
  void (*over)(std::uint32_t* to, const std::uint32_t* from, std::size_t count);
  /// The source, times `opacity` of 255, by the overlay mode of W3C's Compositing and Blending.
  void (*overlay)(std::uint32_t* to, const std::uint32_t* from, std::size_t count,
                  std::uint32_t opacity);
  /// Every component times a 255th of that of the factor, which is a pixel too.
  void (*multiply)(std::uint32_t* to, const std::uint32_t* from, std::size_t count,
                   std::uint32_t factors);
  /// Bytes red, green, blue, alpha to pixels; may work in place.
  void (*premultiply)(const std::uint8_t* rgba, std::uint32_t* to, std::size_t count);
  /// And back; transparent pixels become 0, 0, 0, 0.
  void (*unpremultiply)(const std::uint32_t* from, std::uint8_t* rgba, std::size_t count);
  /// `count` pixels of the half size, from two rows of twice as many.
  void (*halve)(const std::uint32_t* upper, const std::uint32_t* lower, std::uint32_t* to,
                std::size_t count);
  /// Adds `weight` times each of `count` bytes to as many sums.
  void (*addWeighted)(float* sums, const std::uint8_t* bytes, std::size_t count, float weight);
  /// Sums of `taps` numbers that lie `step` apart, each times its weight. `from` holds
  /// count + (taps - 1) * step numbers.
  void (*convolve)(const float* from, const float* weights, int taps, std::size_t step, float* to,
                   std::size_t count);
  /// Numbers beyond 0 to 255 become these.
  void (*roundToBytes)(const float* from, std::uint8_t* to, std::size_t count);
};

/// The fastest that this processor runs.
KELM_API const PixelKernels& pixelKernels();
/// The kernels for every processor, and those that need AVX2: null where that is missing. For
/// comparing both.
KELM_API const PixelKernels& portablePixelKernels();
KELM_API const PixelKernels* avx2PixelKernels();

}  // namespace kelm::pixels
