#include "kelm/platform/graphics/pixels/turn.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"
#include "kelm/platform/graphics/pixels/resize.h"

namespace kelm::pixels {
namespace {

bool isClose(double one, double other) { return std::abs(one - other) < 1e-9; }

/// The rearrangement that a transform is, if it moves whole pixels.
std::optional<Orientation> turnOf(const AffineTransform& transform) {
  struct Row {
    double a, b, c, d;
    Orientation turn;
  };
  // With y downwards, so that (0, 1, -1, 0) turns clockwise.
  static constexpr std::array<Row, 8> kTurns = {Row{1, 0, 0, 1, Orientation::Up},
                                                Row{-1, 0, 0, -1, Orientation::Down},
                                                Row{0, -1, 1, 0, Orientation::Left},
                                                Row{0, 1, -1, 0, Orientation::Right},
                                                Row{-1, 0, 0, 1, Orientation::UpMirrored},
                                                Row{1, 0, 0, -1, Orientation::DownMirrored},
                                                Row{0, -1, -1, 0, Orientation::RightMirrored},
                                                Row{0, 1, 1, 0, Orientation::LeftMirrored}};
  for (const Row& row : kTurns)
    if (isClose(transform.a, row.a) && isClose(transform.b, row.b) && isClose(transform.c, row.c) &&
        isClose(transform.d, row.d))
      return row.turn;
  return std::nullopt;
}

/// A row as the sampler reads it, with transparent pixels around the picture.
std::uint32_t pixelOrNone(const Image& image, int x, int y) {
  if (x < 0 || y < 0 || x >= image.width() || y >= image.height()) return 0;
  return reinterpret_cast<const std::uint32_t*>(image.row(y))[x];
}

/// Between two pixels, `part` of 256 of the second one; two components a word.
std::uint32_t between(std::uint32_t one, std::uint32_t other, std::uint32_t part) {
  constexpr std::uint32_t kMask = 0x00FF00FF;
  const std::uint32_t even = (one & kMask) * (256 - part) + (other & kMask) * part + 0x00800080;
  const std::uint32_t odd =
      (one >> 8 & kMask) * (256 - part) + (other >> 8 & kMask) * part + 0x00800080;
  return (even >> 8 & kMask) | (odd & ~kMask);
}

std::uint32_t sampled(const Image& image, Point at) {
  const double left = std::floor(at.x - 0.5);
  const double top = std::floor(at.y - 0.5);
  if (left < -1 || top < -1 || left >= image.width() || top >= image.height()) return 0;
  const auto x = static_cast<int>(left);
  const auto y = static_cast<int>(top);
  const auto partX = static_cast<std::uint32_t>((at.x - 0.5 - left) * 256);
  const auto partY = static_cast<std::uint32_t>((at.y - 0.5 - top) * 256);
  return between(between(pixelOrNone(image, x, y), pixelOrNone(image, x + 1, y), partX),
                 between(pixelOrNone(image, x, y + 1), pixelOrNone(image, x + 1, y + 1), partX),
                 partY);
}

/// Shrinks the picture as much as the transform will, so that sampling it leaves nothing out, and
/// takes that out of the transform.
std::optional<Image> shrunk(const Image& image, AffineTransform& transform) {
  const double acrossScale = std::hypot(transform.a, transform.b);
  const double downScale = std::hypot(transform.c, transform.d);
  if (acrossScale >= 1 && downScale >= 1) return image;
  const double width = std::ceil(image.width() * std::min(acrossScale, 1.0));
  const double height = std::ceil(image.height() * std::min(downScale, 1.0));
  transform =
      AffineTransform::scaling(image.width() / width, image.height() / height).then(transform);
  return resized(image, width, height);
}

/// A whole number that rounding has put just above it stays that number.
double roundedUp(double side) { return std::max(std::ceil(side - 1e-6), 1.0); }

}  // namespace

std::optional<Image> turned(const Image& image, Orientation by) {
  if (by == Orientation::Up) return image;
  const auto source = coloured(image);
  if (!source) return std::nullopt;
  const auto number = static_cast<unsigned>(by);
  const bool isMirrored = (number & 4U) != 0;
  const bool isOnItsSide = (number & 2U) != 0;
  const int width = isOnItsSide ? image.height() : image.width();
  const int height = isOnItsSide ? image.width() : image.height();
  auto result = PixelBuffer::make(width, height);
  if (!result) return std::nullopt;
  const PixelKernels& kernels = pixelKernels();
  const auto rowOf = [&](int y) { return reinterpret_cast<const std::uint32_t*>(source->row(y)); };
  if (isOnItsSide) {
    // Columns become rows. Clockwise the last row of the source comes first, and mirroring reverses
    // the order in which its columns come.
    const bool isUpsideDown = (number & 1U) != 0;
    const bool isReversed = isUpsideDown == isMirrored;
    const auto fromStride = static_cast<std::ptrdiff_t>(source->stride() / 4);
    const auto toStride = static_cast<std::ptrdiff_t>(result->stride() / 4);
    kernels.transpose(isUpsideDown ? rowOf(source->height() - 1) : rowOf(0),
                      isUpsideDown ? -fromStride : fromStride,
                      isReversed ? result->colours(height - 1) : result->colours(0),
                      isReversed ? -toStride : toStride, source->width(), source->height());
  } else {
    const bool isUpsideDown = (number & 1U) != 0;
    for (int y = 0; y < height; ++y) {
      const std::uint32_t* from = rowOf(isUpsideDown ? height - 1 - y : y);
      if (isUpsideDown == isMirrored)
        std::copy_n(from, width, result->colours(y));
      else
        kernels.reverse(from, result->colours(y), static_cast<std::size_t>(width));
    }
  }
  Image upright = std::move(*result).finish(image.scale(), image.orientation());
  return image.format() == PixelFormat::Gray8 ? grayed(upright) : upright;
}

std::optional<Image> transformed(const Image& image, const AffineTransform& transform) {
  if (const auto turn = turnOf(transform)) {
    const auto result = turned(image, *turn);
    return result ? std::optional(result->withOrientation(Orientation::Up)) : std::nullopt;
  }
  if (transform.determinant() == 0) return std::nullopt;
  const auto source = coloured(image);
  if (!source) return std::nullopt;
  AffineTransform rest = transform;
  const Rect box = rest.apply(Rect{0, 0, image.width() * 1.0, image.height() * 1.0});
  // In the middle of the whole pixels that hold it.
  const double width = roundedUp(box.width);
  const double height = roundedUp(box.height);
  auto result = PixelBuffer::make(width, height);
  const auto small = result ? shrunk(*source, rest) : std::nullopt;
  if (!small) return std::nullopt;
  const AffineTransform back =
      rest.then(AffineTransform::translation((width - box.width) / 2 - box.x,
                                             (height - box.height) / 2 - box.y))
          .inverted();
  for (int y = 0; y < result->height(); ++y)
    for (int x = 0; x < result->width(); ++x)
      result->colours(y)[x] = sampled(*small, back.apply(Point{x + 0.5, y + 0.5}));
  return std::move(*result).finish(image.scale());
}

}  // namespace kelm::pixels
