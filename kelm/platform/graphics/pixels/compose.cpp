#include "kelm/platform/graphics/pixels/compose.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"

namespace kelm::pixels {
namespace {

/// How far the rounded edge is from the side at a distance from the corner's end of the other side.
double indent(double radius, double distance) {
  if (distance >= radius) return 0;
  const double rise = radius - distance;
  return radius - std::sqrt(std::max(radius * radius - rise * rise, 0.0));
}

/// Lines of a pixel at which its horizontal extent is taken.
constexpr int kLines = 16;

/// Adds what the span from `left` to `right` covers of each pixel.
void addSpan(std::vector<float>& coverage, double left, double right) {
  const auto first = static_cast<std::size_t>(left);
  const auto last = std::min(static_cast<std::size_t>(right), coverage.size() - 1);
  for (std::size_t x = first; x <= last; ++x)
    coverage[x] += static_cast<float>(std::min(right, x + 1.0) - std::max(left, x * 1.0));
}

}  // namespace

std::optional<Image> roundedMask(double width, double height, const CornerRadii& given) {
  auto mask = PixelBuffer::make(width, height, PixelFormat::Gray8);
  if (!mask) return std::nullopt;
  const double right = mask->width();
  const double bottom = mask->height();
  const CornerRadii radii = given.fitting(right, bottom);
  const double topEnd = std::max(radii.topLeft, radii.topRight);
  const double bottomStart = bottom - std::max(radii.bottomLeft, radii.bottomRight);
  std::vector<float> coverage(static_cast<std::size_t>(mask->width()));
  for (int y = 0; y < mask->height(); ++y) {
    if (y >= topEnd && y + 1 <= bottomStart) {
      std::memset(mask->row(y), 255, mask->stride());
      continue;
    }
    std::fill(coverage.begin(), coverage.end(), 0.0F);
    for (int line = 0; line < kLines; ++line) {
      const double fromTop = y + (line + 0.5) / kLines;
      const double fromBottom = bottom - fromTop;
      addSpan(
          coverage, std::max(indent(radii.topLeft, fromTop), indent(radii.bottomLeft, fromBottom)),
          right - std::max(indent(radii.topRight, fromTop), indent(radii.bottomRight, fromBottom)));
    }
    for (std::size_t x = 0; x < coverage.size(); ++x)
      mask->row(y)[x] = static_cast<std::uint8_t>(
          std::clamp(coverage[x] * (255.0F / kLines) + 0.5F, 0.0F, 255.0F));
  }
  return std::move(*mask).finish();
}

std::optional<PixelBuffer> copyOf(const Image& image) {
  const auto source = coloured(image);
  auto copy = source ? PixelBuffer::make(image.width(), image.height()) : std::nullopt;
  for (int y = 0; copy && y < image.height(); ++y)
    std::memcpy(copy->row(y), source->row(y), static_cast<std::size_t>(image.width()) * 4);
  return copy;
}

std::optional<Image> masked(const Image& image, const Image& mask) {
  auto result = copyOf(image);
  const auto tones = maskOf(mask);
  if (!result || !tones) return std::nullopt;
  for (int y = 0; y < image.height(); ++y) {
    std::uint32_t* row = result->colours(y);
    for (int x = 0; x < image.width(); ++x) {
      const bool isInside = x < tones->width() && y < tones->height();
      const std::uint32_t tone = isInside ? tones->row(y)[x] : 0;
      if (tone != 255) pixelKernels().multiply(row + x, row + x, 1, tone * 0x01010101U);
    }
  }
  return std::move(*result).finish(image.scale(), image.orientation());
}

void drawOver(PixelBuffer& below, const Image& image, int x, int y) {
  const auto above = coloured(image);
  if (!above) return;
  const int left = std::max(x, 0);
  const int right = std::min(below.width(), x + above->width());
  if (left >= right) return;
  for (int row = std::max(y, 0); row < std::min(below.height(), y + above->height()); ++row)
    pixelKernels().over(below.colours(row) + left,
                        reinterpret_cast<const std::uint32_t*>(above->row(row - y)) + (left - x),
                        static_cast<std::size_t>(right - left));
}

}  // namespace kelm::pixels
