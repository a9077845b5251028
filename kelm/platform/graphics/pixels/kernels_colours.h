// The kernels that work on colours, in terms of vectors of the width that the compiler may use.
// Included by pixel_kernels_code.h alone.

#ifdef __AVX2__
constexpr std::size_t kVectorBytes = 32;
#else
constexpr std::size_t kVectorBytes = 16;
#endif
constexpr std::size_t kPixels = kVectorBytes / 4;

// Two views of the same bits: whole pixels, and their halves with a component in each.
using Pixels [[gnu::vector_size(kVectorBytes)]] = std::uint32_t;
using Halves [[gnu::vector_size(kVectorBytes)]] = std::uint16_t;
using Quad [[gnu::vector_size(16)]] = std::uint32_t;

#define KELM_INLINE [[gnu::always_inline]] inline

template <class Vector, class Item>
KELM_INLINE Vector load(const Item* from) {
  Vector value;
  std::memcpy(&value, from, sizeof value);
  return value;
}
template <class Vector, class Item>
KELM_INLINE void store(Item* to, Vector value) {
  std::memcpy(to, &value, sizeof value);
}
KELM_INLINE Halves everyHalf(std::uint16_t value) { return Halves{} + value; }

/// The upper 16 bits of each product: one instruction, which the vectoriser does not always find.
KELM_INLINE Halves highProduct(Halves left, Halves right) {
#if defined(__AVX2__) || defined(__SSE2__)
  using Signed [[gnu::vector_size(kVectorBytes)]] = short;
  const auto one = reinterpret_cast<Signed>(left);
  const auto other = reinterpret_cast<Signed>(right);
#endif
#if defined(__AVX2__)
  return reinterpret_cast<Halves>(__builtin_ia32_pmulhuw256(one, other));
#elif defined(__SSE2__)
  return reinterpret_cast<Halves>(__builtin_ia32_pmulhuw128(one, other));
#else
  Halves product;
  for (std::size_t i = 0; i < kVectorBytes / 2; ++i)
    product[i] = static_cast<std::uint16_t>(std::uint32_t{left[i]} * right[i] >> 16);
  return product;
#endif
}
/// A 255th of each product of two bytes, rounded to the nearest.
KELM_INLINE Halves byteProduct(Halves left, Halves right) {
  const Halves product = left * right + 128;
  return (product + (product >> 8)) >> 8;
}
KELM_INLINE Halves alphaOfHalves(Pixels pixels) {
  const Pixels alpha = pixels >> 24;
  return reinterpret_cast<Halves>(alpha | alpha << 16);
}

/// Runs over all pixels, the last ones through a buffer, so that an operation is written once.
template <class Operation>
KELM_INLINE void eachVector(std::uint32_t* to, const std::uint32_t* from, std::size_t count,
                            Operation operation) {
  std::size_t i = 0;
  for (; i + kPixels <= count; i += kPixels)
    store(to + i, operation(load<Pixels>(to + i), load<Pixels>(from + i)));
  if (i == count) return;
  Pixels below{};
  Pixels above{};
  const std::size_t bytes = (count - i) * 4;
  std::memcpy(&below, to + i, bytes);
  std::memcpy(&above, from + i, bytes);
  below = operation(below, above);
  std::memcpy(to + i, &below, bytes);
}

void over(std::uint32_t* to, const std::uint32_t* from, std::size_t count) {
  eachVector(to, from, count, [](Pixels below, Pixels above) {
    const Halves rest = 255 - alphaOfHalves(above);
    const auto lower = reinterpret_cast<Halves>(below);
    const Halves even = byteProduct(lower & 255, rest);
    const Halves odd = byteProduct(lower >> 8, rest);
    return reinterpret_cast<Pixels>(even | odd << 8) + above;
  });
}

void multiply(std::uint32_t* to, const std::uint32_t* from, std::size_t count,
              std::uint32_t factors) {
  const auto both = reinterpret_cast<Halves>(Pixels{} + factors);
  eachVector(to, from, count, [both](Pixels, Pixels above) {
    const auto upper = reinterpret_cast<Halves>(above);
    const Halves even = byteProduct(upper & 255, both & 255);
    const Halves odd = byteProduct(upper >> 8, both >> 8);
    return reinterpret_cast<Pixels>(even | odd << 8);
  });
}

/// One component by overlay: twice the product in the dark half of the backdrop, the same mirrored
/// in the light half, and where one of the two is transparent, the other.
KELM_INLINE Halves overlaid(Halves source, Halves sourceAlpha, Halves backdrop,
                            Halves backdropAlpha) {
  const auto isDark = reinterpret_cast<Halves>(backdrop + backdrop <= backdropAlpha);
  const Halves one = (backdrop & isDark) | ((backdropAlpha - backdrop) & ~isDark);
  const Halves other = (source & isDark) | ((sourceAlpha - source) & ~isDark);
  const Halves twice = byteProduct(one + one, other);
  const Halves all = byteProduct(sourceAlpha, backdropAlpha);
  const Halves least = twice < all ? twice : all;
  const Halves blended = (twice & isDark) | ((all - least) & ~isDark);
  const Halves sum =
      blended + byteProduct(source, 255 - backdropAlpha) + byteProduct(backdrop, 255 - sourceAlpha);
  // Rounding each term may give more than there is of alpha.
  const Halves most = sourceAlpha + backdropAlpha - all;
  return sum < most ? sum : most;
}

void overlay(std::uint32_t* to, const std::uint32_t* from, std::size_t count,
             std::uint32_t opacity) {
  const Halves part = everyHalf(static_cast<std::uint16_t>(opacity));
  eachVector(to, from, count, [part](Pixels below, Pixels above) {
    const auto upper = reinterpret_cast<Halves>(above);
    const auto lower = reinterpret_cast<Halves>(below);
    const Halves sourceAlpha = byteProduct(alphaOfHalves(above), part);
    const Halves backdropAlpha = alphaOfHalves(below);
    const Halves even =
        overlaid(byteProduct(upper & 255, part), sourceAlpha, lower & 255, backdropAlpha);
    const Halves odd =
        overlaid(byteProduct(upper >> 8, part), sourceAlpha, lower >> 8, backdropAlpha);
    const Halves alpha = sourceAlpha + backdropAlpha - byteProduct(sourceAlpha, backdropAlpha);
    const Pixels colours = reinterpret_cast<Pixels>(even | odd << 8) & 0x00FFFFFF;
    return colours | reinterpret_cast<Pixels>(alpha) << 24;
  });
}

KELM_INLINE std::uint32_t inOrder(std::uint32_t rgba) {
  if constexpr (std::endian::native == std::endian::big) return __builtin_bswap32(rgba);
  return rgba;
}

void premultiply(const std::uint8_t* rgba, std::uint32_t* to, std::size_t count) {
  const auto convert = [](Pixels pixels) {  // 0xAABBGGRR
    const Halves alpha = alphaOfHalves(pixels);
    const Pixels redBlue = pixels & 0x00FF00FF;
    const Halves blueRed =
        byteProduct(reinterpret_cast<Halves>(redBlue << 16 | redBlue >> 16), alpha);
    const Pixels greenOnly = (pixels >> 8 & 0xFF) | 0x00FF0000;
    const Halves greenAlpha = byteProduct(reinterpret_cast<Halves>(greenOnly), alpha);
    return reinterpret_cast<Pixels>(blueRed | greenAlpha << 8);
  };
  std::size_t i = 0;
  for (; i < count; i += kPixels) {
    const std::size_t bytes = (count - i < kPixels ? count - i : kPixels) * 4;
    Pixels pixels{};
    std::memcpy(&pixels, rgba + i * 4, bytes);
    if constexpr (std::endian::native == std::endian::big)
      for (std::size_t k = 0; k < kPixels; ++k)
        pixels[k] = inOrder(pixels[k]);
    pixels = convert(pixels);
    std::memcpy(to + i, &pixels, bytes);
  }
}

void unpremultiply(const std::uint32_t* from, std::uint8_t* rgba, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t pixel = from[i];
    const std::uint32_t alpha = pixel >> 24;
    const float factor = alpha == 0 ? 0.0F : 255.0F / static_cast<float>(alpha);
    std::uint32_t bytes = alpha << 24;
    for (unsigned k = 0; k < 3; ++k) {
      const float part = static_cast<float>(pixel >> (16 - 8 * k) & 255) * factor + 0.5F;
      bytes |= static_cast<std::uint32_t>(part < 255 ? part : 255.0F) << 8 * k;
    }
    bytes = inOrder(bytes);
    std::memcpy(rgba + i * 4, &bytes, 4);
  }
}
