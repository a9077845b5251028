#include "kelm/platform/graphics/pixels/convert.h"

#include <utility>

namespace kelm::pixels {
namespace {

template <class Tone>
std::optional<Image> grayBy(const Image& image, Tone tone) {
  if (image.format() == PixelFormat::Gray8) return image;
  auto gray = PixelBuffer::make(image.width(), image.height(), PixelFormat::Gray8);
  if (!gray) return std::nullopt;
  for (int y = 0; y < image.height(); ++y) {
    const auto* from = reinterpret_cast<const std::uint32_t*>(image.row(y));
    std::uint8_t* to = gray->row(y);
    for (int x = 0; x < image.width(); ++x)
      to[x] = static_cast<std::uint8_t>(tone(from[x]));
  }
  return std::move(*gray).finish(image.scale(), image.orientation());
}

}  // namespace

std::optional<Image> coloured(const Image& image) {
  if (image.format() == PixelFormat::Argb32) return image;
  auto colours = PixelBuffer::make(image.width(), image.height());
  if (!colours) return std::nullopt;
  for (int y = 0; y < image.height(); ++y) {
    const std::uint8_t* from = image.row(y);
    std::uint32_t* to = colours->colours(y);
    for (int x = 0; x < image.width(); ++x)
      to[x] = 0xFF000000U | from[x] * 0x010101U;
  }
  return std::move(*colours).finish(image.scale(), image.orientation());
}

std::optional<Image> grayed(const Image& image) {
  return grayBy(image, [](std::uint32_t pixel) {
    // 299, 587 and 114 of 1000, as parts of 65536, so that equal components give themselves.
    return ((pixel >> 16 & 255) * 19595 + (pixel >> 8 & 255) * 38470 + (pixel & 255) * 7471 +
            32768) >>
           16;
  });
}

std::optional<Image> maskOf(const Image& image) {
  return grayBy(image, [](std::uint32_t pixel) { return pixel >> 24; });
}

}  // namespace kelm::pixels
