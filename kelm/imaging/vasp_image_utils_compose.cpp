// Pictures made of colours and of other pictures.
#include <utility>

#include "kelm/imaging/picture_size.h"
#include "kelm/imaging/vasp_image_utils.h"
#include "kelm/platform/graphics/pixels/compose.h"
#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"
#include "kelm/platform/graphics/pixels/resize.h"
#include "kelm/platform/graphics/pixels/turn.h"

namespace kelm {
namespace {

using MaybeImage = VaspImageUtils::MaybeImage;

MaybeImage upright(const MaybeImage& image) {
  const MaybeImage turned =
      image ? pixels::turned(*image, image->orientation()) : std::optional<Image>();
  return turned ? std::optional(turned->withOrientation(Orientation::Up)) : std::nullopt;
}

/// Every component times a 255th of that of the factors.
MaybeImage multiplied(const Image& image, std::uint32_t factors) {
  auto result = pixels::copyOf(image);
  if (!result) return std::nullopt;
  const auto count = static_cast<std::size_t>(image.width());
  for (int y = 0; y < image.height(); ++y)
    pixels::pixelKernels().multiply(result->colours(y), result->colours(y), count, factors);
  return std::move(*result).finish(image.scale(), image.orientation());
}

std::uint32_t byteOf(double part) {
  return part > 0 ? static_cast<std::uint32_t>(std::lround(std::min(part, 1.0) * 255)) : 0;
}

}  // namespace

MaybeImage VaspImageUtils::imageWithFrame_color_useAlpha(const Rect& frame, const Colour& colour,
                                                         bool useAlpha) {
  const double scale = imaging::screenScale();
  const Size pixels = imaging::wholePixels(frame.size(), scale);
  auto result = PixelBuffer::make(pixels.width, pixels.height);
  if (!result) return std::nullopt;
  const std::uint32_t pixel = colour.premultiplied();
  result->fill(useAlpha ? pixel : pixel | 0xFF000000U);
  return std::move(*result).finish(scale);
}

MaybeImage VaspImageUtils::getRoundedMaskWithRect_radiustl_radiustr_radiusbl_radiusbr(
    const Rect& rect, double topLeft, double topRight, double bottomLeft, double bottomRight) {
  const double scale = imaging::screenScale();
  const Size pixels = imaging::wholePixels(rect.size(), scale);
  const MaybeImage mask = pixels::roundedMask(
      pixels.width, pixels.height,
      {topLeft * scale, topRight * scale, bottomLeft * scale, bottomRight * scale});
  return mask ? std::optional(mask->withScale(scale)) : std::nullopt;
}

MaybeImage VaspImageUtils::gradientMask() {
  constexpr int kTones = 256;
  auto mask = PixelBuffer::make(1, kTones, PixelFormat::Gray8);
  if (!mask) return std::nullopt;
  for (int y = 0; y < kTones; ++y)
    mask->row(y)[0] = static_cast<std::uint8_t>(kTones - 1 - y);
  return std::move(*mask).finish();
}

MaybeImage VaspImageUtils::reflectedImageWithScale_image(double scale, const MaybeImage& image) {
  const MaybeImage whole = upright(image);
  if (!whole || !(scale > 0)) return std::nullopt;
  const double height =
      std::min(imaging::wholePixels(whole->height(), std::min(scale, 1.0)), whole->height() * 1.0);
  const MaybeImage lowest =
      whole->cropped({0, whole->height() - height, whole->width() * 1.0, height});
  const MaybeImage turned = imageByMirrorVertical(lowest);
  const MaybeImage tones = gradientMask();
  const MaybeImage mask =
      turned && tones ? pixels::resized(*tones, turned->width(), height) : std::nullopt;
  return mask ? pixels::masked(*turned, *mask) : std::nullopt;
}

MaybeImage VaspImageUtils::imageWithReflectionWithScale_image_gap_alpha(double scale,
                                                                        const MaybeImage& image,
                                                                        double gap, double alpha) {
  const MaybeImage whole = upright(image);
  const MaybeImage reflection = reflectedImageWithScale_image(scale, image);
  if (!whole || !reflection || !std::isfinite(gap)) return std::nullopt;
  const MaybeImage faded = multiplied(*reflection, byteOf(alpha) * 0x01010101U);
  const double room = imaging::wholePixels(gap, whole->scale());
  auto result = PixelBuffer::make(whole->width(), whole->height() + room + reflection->height());
  if (!faded || !result) return std::nullopt;
  result->fill(0U);
  pixels::drawOver(*result, *whole, 0, 0);
  pixels::drawOver(*result, *faded, 0, whole->height() + static_cast<int>(room));
  return std::move(*result).finish(whole->scale());
}

MaybeImage VaspImageUtils::imagToMultiply_multiplyedColor(const MaybeImage& image,
                                                          const Colour& colour) {
  if (!image) return std::nullopt;
  // A half opaque colour has half of its effect.
  const double opacity = byteOf(colour.alpha) / 255.0;
  const auto factor = [&](double component) {
    return byteOf(1 - opacity + opacity * (byteOf(component) / 255.0));
  };
  return multiplied(*image, 0xFF000000U | factor(colour.red) << 16 | factor(colour.green) << 8 |
                                factor(colour.blue));
}

MaybeImage VaspImageUtils::image_addingOnTop(const MaybeImage& image, const MaybeImage& top) {
  const MaybeImage below = upright(image);
  MaybeImage above = upright(top);
  if (!below || !above) return std::nullopt;
  if (above->scale() != below->scale()) {
    const Size pixels = imaging::wholePixels(above->size(), below->scale());
    above = pixels::resized(*above, pixels.width, pixels.height);
  }
  auto result = pixels::copyOf(*below);
  if (!above || !result) return std::nullopt;
  const auto middle = [](int room, int side) {
    return static_cast<int>(std::floor((std::int64_t{room} - side) / 2.0));
  };
  pixels::drawOver(*result, *above, middle(below->width(), above->width()),
                   middle(below->height(), above->height()));
  return std::move(*result).finish(below->scale());
}

}  // namespace kelm
