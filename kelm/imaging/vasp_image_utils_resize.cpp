// Other sizes of pictures.
#include <array>
#include <limits>
#include <utility>

#include "kelm/imaging/picture_size.h"
#include "kelm/imaging/vasp_image_utils.h"
#include "kelm/platform/graphics/pixels/compose.h"
#include "kelm/platform/graphics/pixels/resize.h"
#include "kelm/platform/graphics/pixels/turn.h"

namespace kelm {
namespace {

using MaybeImage = VaspImageUtils::MaybeImage;

/// The picture's own shape in a size, in whole pixels; `covers`: not smaller than it, else not
/// larger.
Size sizeOfShape(const MaybeImage& image, Size wanted, bool covers) {
  if (!image || !(wanted.width > 0 && wanted.height > 0)) return {};
  const Size own = image->size();
  const double across = wanted.width / own.width;
  const double down = wanted.height / own.height;
  const double factor = covers ? std::max(across, down) : std::min(across, down);
  const double scale = image->scale();
  const Size pixels = imaging::wholePixels({own.width * factor, own.height * factor}, scale);
  return {pixels.width / scale, pixels.height / scale};
}

/// The edges of the three parts of a side, in pixels: of caps that keep their size, or shrink
/// together where there is no room for them, and of what is between them.
std::array<double, 4> edgesOf(double before, double after, double length) {
  if (before + after > length) {
    const double factor = length / (before + after);
    before *= factor;
    after *= factor;
  }
  return {0, std::round(before), std::round(length - after), length};
}

Rect pieceOf(const std::array<double, 4>& across, const std::array<double, 4>& down, std::size_t x,
             std::size_t y) {
  return {across[x], down[y], across[x + 1] - across[x], down[y + 1] - down[y]};
}

/// In nine pieces, of which the corners keep their size.
MaybeImage stretchedBetweenCaps(const Image& image, const Insets& caps, Size pixels) {
  auto result = PixelBuffer::make(pixels.width, pixels.height);
  if (!result) return std::nullopt;
  result->fill(0U);
  const double scale = image.scale();
  const double left = caps.left * scale;
  const double right = caps.right * scale;
  const double top = caps.top * scale;
  const double bottom = caps.bottom * scale;
  const auto fromAcross = edgesOf(left, right, image.width());
  const auto fromDown = edgesOf(top, bottom, image.height());
  const auto toAcross = edgesOf(left, right, result->width());
  const auto toDown = edgesOf(top, bottom, result->height());
  for (std::size_t y = 0; y < 3; ++y)
    for (std::size_t x = 0; x < 3; ++x) {
      const Rect to = pieceOf(toAcross, toDown, x, y);
      const MaybeImage piece = image.cropped(pieceOf(fromAcross, fromDown, x, y));
      const MaybeImage stretched =
          piece ? pixels::resized(*piece, to.width, to.height) : std::nullopt;
      if (stretched)
        pixels::drawOver(*result, *stretched, static_cast<int>(to.x), static_cast<int>(to.y));
    }
  return std::move(*result).finish(scale).withCapInsets(caps);
}

}  // namespace

MaybeImage VaspImageUtils::resizedImage_withSize(const MaybeImage& image, Size size) {
  if (!image) return std::nullopt;
  const Size pixels = imaging::wholePixels(size, image->scale());
  if (const auto& caps = image->capInsets()) {
    const MaybeImage upright = pixels::turned(*image, image->orientation());
    return upright ? stretchedBetweenCaps(*upright, *caps, pixels) : std::nullopt;
  }
  const Size rows = imaging::rowsSize(image->orientation(), pixels);
  return pixels::resized(*image, rows.width, rows.height);
}

MaybeImage VaspImageUtils::resizedImage_withSize_keepAspectRatio(const MaybeImage& image, Size size,
                                                                 bool keep) {
  return resizedImage_withSize(image,
                               keep ? sizeOfresizedImage_keepRatioAndFIT(image, size) : size);
}

MaybeImage VaspImageUtils::resizedImage_withSize_keepingImageSizeAndAddingBackgroundColor(
    const MaybeImage& image, Size size, std::optional<Colour> colour) {
  if (!image) return std::nullopt;
  const MaybeImage upright = pixels::turned(*image, image->orientation());
  const Size pixels = imaging::wholePixels(size, image->scale());
  auto result = PixelBuffer::make(pixels.width, pixels.height);
  if (!upright || !result) return std::nullopt;
  result->fill(colour.value_or(Colour::clear()));
  const auto middle = [](int room, int side) {
    return static_cast<int>(std::floor((std::int64_t{room} - side) / 2.0));
  };
  pixels::drawOver(*result, *upright, middle(result->width(), upright->width()),
                   middle(result->height(), upright->height()));
  return std::move(*result).finish(image->scale());
}

MaybeImage VaspImageUtils::resizeImage_withTCap_andLCap(const MaybeImage& image, double top,
                                                        double left) {
  if (!image || !std::isfinite(top) || !std::isfinite(left)) return std::nullopt;
  const Size size = image->size();
  const auto cap = [](double wanted, double side) {
    return std::clamp(wanted, 0.0, std::max(side - 1, 0.0));
  };
  Insets caps = {cap(top, size.height), cap(left, size.width), 0, 0};
  caps.bottom = std::max(size.height - caps.top - 1, 0.0);
  caps.right = std::max(size.width - caps.left - 1, 0.0);
  return image->withCapInsets(caps);
}

Size VaspImageUtils::sizeOfresizedImage_keepRatioAndFILL(const MaybeImage& image, Size size) {
  return sizeOfShape(image, size, true);
}

Size VaspImageUtils::sizeOfresizedImage_keepRatioAndFIT(const MaybeImage& image, Size size) {
  return sizeOfShape(image, size, false);
}

AffineTransform VaspImageUtils::cgaffineTransformFromRect_toRect(const Rect& from, const Rect& to) {
  const double across = from.width == 0 ? 1 : to.width / from.width;
  const double down = from.height == 0 ? 1 : to.height / from.height;
  return {across, 0, 0, down, to.x - from.x * across, to.y - from.y * down};
}

}  // namespace kelm
