// All kernels. Included by one source for each kind of processor, which puts them into a namespace
// of its own. Nothing of the standard library is called but for memcpy: a template that was
// compiled here for a newer processor could replace the same one of the whole program.

#include "kelm/platform/graphics/pixels/kernels_colours.h"

void reverse(const std::uint32_t* from, std::uint32_t* to, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    to[i] = from[count - 1 - i];
}

KELM_INLINE void transposeFour(const std::uint32_t* from, std::ptrdiff_t fromStride,
                               std::uint32_t* to, std::ptrdiff_t toStride) {
  const Quad a = load<Quad>(from);
  const Quad b = load<Quad>(from + fromStride);
  const Quad c = load<Quad>(from + 2 * fromStride);
  const Quad d = load<Quad>(from + 3 * fromStride);
  const Quad ab = __builtin_shufflevector(a, b, 0, 4, 1, 5);
  const Quad cd = __builtin_shufflevector(c, d, 0, 4, 1, 5);
  const Quad abHigh = __builtin_shufflevector(a, b, 2, 6, 3, 7);
  const Quad cdHigh = __builtin_shufflevector(c, d, 2, 6, 3, 7);
  store(to, __builtin_shufflevector(ab, cd, 0, 1, 4, 5));
  store(to + toStride, __builtin_shufflevector(ab, cd, 2, 3, 6, 7));
  store(to + 2 * toStride, __builtin_shufflevector(abHigh, cdHigh, 0, 1, 4, 5));
  store(to + 3 * toStride, __builtin_shufflevector(abHigh, cdHigh, 2, 3, 6, 7));
}

/// At most 16 by 16 pixels.
KELM_INLINE void transposeTile(const std::uint32_t* from, std::ptrdiff_t fromStride,
                               std::uint32_t* to, std::ptrdiff_t toStride, int width, int height) {
  const int evenWidth = width & ~3;
  const int evenHeight = height & ~3;
  for (int y = 0; y < evenHeight; y += 4)
    for (int x = 0; x < evenWidth; x += 4)
      transposeFour(from + y * fromStride + x, fromStride, to + x * toStride + y, toStride);
  for (int y = 0; y < height; ++y)
    for (int x = y < evenHeight ? evenWidth : 0; x < width; ++x)
      to[x * toStride + y] = from[y * fromStride + x];
}

void transpose(const std::uint32_t* from, std::ptrdiff_t fromStride, std::uint32_t* to,
               std::ptrdiff_t toStride, int width, int height) {
  constexpr int kTile = 16;  // a line of the cache
  for (int y = 0; y < height; y += kTile) {
    const int rows = height - y < kTile ? height - y : kTile;
    for (int x = 0; x < width; x += kTile) {
      const int columns = width - x < kTile ? width - x : kTile;
      const std::uint32_t* tile = from + y * fromStride + x;
      if (rows < kTile || columns < kTile) {
        transposeTile(tile, fromStride, to + x * toStride + y, toStride, columns, rows);
        continue;
      }
      // Through a small square: lines of `to` that lie a power of two apart would drive each other
      // out of the cache before they are full.
      alignas(64) std::uint32_t square[kTile * kTile];
      transposeTile(tile, fromStride, square, kTile, kTile, kTile);
      for (int i = 0; i < kTile; ++i)
        std::memcpy(to + (x + i) * toStride + y, square + i * kTile, kTile * 4);
    }
  }
}

void halve(const std::uint32_t* upper, const std::uint32_t* lower, std::uint32_t* to,
           std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t a = upper[2 * i];
    const std::uint32_t b = upper[2 * i + 1];
    const std::uint32_t c = lower[2 * i];
    const std::uint32_t d = lower[2 * i + 1];
    constexpr std::uint32_t kMask = 0x00FF00FF;
    const std::uint32_t even = (a & kMask) + (b & kMask) + (c & kMask) + (d & kMask) + 0x00020002;
    const std::uint32_t odd =
        (a >> 8 & kMask) + (b >> 8 & kMask) + (c >> 8 & kMask) + (d >> 8 & kMask) + 0x00020002;
    to[i] = (even >> 2 & kMask) | (odd >> 2 & kMask) << 8;
  }
}

void addWeighted(float* sums, const std::uint8_t* bytes, std::size_t count, float weight) {
  for (std::size_t i = 0; i < count; ++i)
    sums[i] += static_cast<float>(bytes[i]) * weight;
}

void convolve(const float* from, const float* weights, int taps, std::size_t step, float* to,
              std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    to[i] = 0;
  for (int k = 0; k < taps; ++k)
    for (std::size_t i = 0; i < count; ++i)
      to[i] += from[i + static_cast<std::size_t>(k) * step] * weights[k];
}

void roundToBytes(const float* from, std::uint8_t* to, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const float value = from[i] + 0.5F;
    to[i] = static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : static_cast<int>(value));
  }
}

/// The column of `kVectorBytes` bytes: sums of even and odd bytes apart, so that nothing has to be
/// widened or packed. Sums have 16 bits, hence boxes at most 256 pixels.
template <bool kHasEdge>
KELM_INLINE void boxVector(const std::uint8_t* from, std::size_t fromStride, int length,
                           std::uint8_t* to, std::size_t toStride, int begin, int end,
                           const BoxPass& pass) {
  const int radius = pass.radius;
  const double pixels = 2 * (radius + pass.edge) + 1;
  int shift = 0;
  while (2 << shift <= 2 * radius + 1)
    ++shift;
  // Sums times 2^(16+shift) / pixels: as many bits as fit, then shifted back with rounding.
  const auto scale = static_cast<double>(std::uint64_t{65536} << shift) / pixels;
  const Halves factor = everyHalf(static_cast<std::uint16_t>(scale < 65535 ? scale + 0.5 : 65535));
  const Halves edgeFactor = everyHalf(static_cast<std::uint16_t>(pass.edge * scale / 64 + 0.5));
  const Halves half = everyHalf(static_cast<std::uint16_t>((1 << shift) / 2));
  const int last = length - 1;
  const auto row = [=](int y) {
    y = y < 0 ? 0 : y > last ? last : y;
    return load<Halves>(from + static_cast<std::size_t>(y) * fromStride);
  };
  Halves even{};
  Halves odd{};
  for (int y = begin - radius; y <= begin + radius; ++y) {
    const Halves bytes = row(y);
    even += bytes & 255;
    odd += bytes >> 8;
  }
  const auto step = [&](Halves incoming, Halves outgoing, Halves before) {
    Halves evenMean = highProduct(even, factor);
    Halves oddMean = highProduct(odd, factor);
    if constexpr (kHasEdge) {
      evenMean += highProduct(((before & 255) + (incoming & 255)) << 6, edgeFactor);
      oddMean += highProduct(((before >> 8) + (incoming >> 8)) << 6, edgeFactor);
    }
    store(to, ((evenMean + half) >> shift) | ((oddMean + half) >> shift) << 8);
    to += toStride;
    even += (incoming & 255) - (outgoing & 255);
    odd += (incoming >> 8) - (outgoing >> 8);
  };
  int y = begin;
  const auto beyondAnEnd = [&] {
    step(row(y + radius + 1), row(y - radius), row(y - radius - 1));
    ++y;
  };
  while (y < end && y <= radius)
    beyondAnEnd();
  const std::uint8_t* outgoing = from + (std::ptrdiff_t{y} - radius) * std::ptrdiff_t(fromStride);
  const std::uint8_t* incoming = outgoing + static_cast<std::size_t>(2 * radius + 1) * fromStride;
  for (; y < end && y + radius + 1 < length; ++y) {
    step(load<Halves>(incoming), load<Halves>(outgoing),
         kHasEdge ? load<Halves>(outgoing - fromStride) : Halves{});
    incoming += fromStride;
    outgoing += fromStride;
  }
  while (y < end)
    beyondAnEnd();
}

void boxColumn(const std::uint8_t* from, std::size_t fromStride, int length, std::uint8_t* to,
               std::size_t toStride, int begin, int end, const BoxPass& pass) {
  for (std::size_t x = 0; x < 32; x += kVectorBytes) {
    if (pass.edge > 0)
      boxVector<true>(from + x, fromStride, length, to + x, toStride, begin, end, pass);
    else
      boxVector<false>(from + x, fromStride, length, to + x, toStride, begin, end, pass);
  }
}

#undef KELM_INLINE

constexpr PixelKernels kKernels = {
    .boxColumn = boxColumn,
    .transpose = transpose,
    .reverse = reverse,
    .over = over,
    .overlay = overlay,
    .multiply = multiply,
    .premultiply = premultiply,
    .unpremultiply = unpremultiply,
    .halve = halve,
    .addWeighted = addWeighted,
    .convolve = convolve,
    .roundToBytes = roundToBytes,
};
