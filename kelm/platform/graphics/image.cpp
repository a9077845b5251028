#include "kelm/platform/graphics/image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace kelm {
namespace {

constexpr double kMostBytes = std::numeric_limits<std::int32_t>::max();

std::size_t bytesOfPixel(PixelFormat format) { return format == PixelFormat::Argb32 ? 4 : 1; }

bool liesOnItsSide(Orientation orientation) {
  return (static_cast<unsigned>(orientation) & 2U) != 0;
}

/// The edge of pixels nearest to a coordinate, between 0 and `last`.
int nearestEdge(double coordinate, int last) {
  return static_cast<int>(std::clamp(std::floor(coordinate + 0.5), 0.0, static_cast<double>(last)));
}

}  // namespace

std::uint32_t Image::pixel(int x, int y) const {
  const std::uint8_t* at = row(y) + static_cast<std::size_t>(x) * bytesOfPixel(format_);
  if (format_ == PixelFormat::Gray8) return 0xFF000000U | *at * 0x010101U;
  std::uint32_t value = 0;
  std::memcpy(&value, at, sizeof value);
  return value;
}

Size Image::size() const {
  const Size upright = {width_ / scale_, height_ / scale_};
  return liesOnItsSide(orientation_) ? Size{upright.height, upright.width} : upright;
}

Image Image::withScale(double scale) const {
  Image other = *this;
  other.scale_ = scale > 0 && std::isfinite(scale) ? scale : 1;
  return other;
}

Image Image::withOrientation(Orientation orientation) const {
  Image other = *this;
  other.orientation_ = orientation;
  return other;
}

Image Image::withCapInsets(const std::optional<Insets>& insets) const {
  Image other = *this;
  other.capInsets_ = insets;
  return other;
}

std::optional<Image> Image::cropped(const Rect& pixels) const {
  for (const double number : {pixels.x, pixels.y, pixels.width, pixels.height})
    if (std::isnan(number)) return std::nullopt;
  const int left = nearestEdge(pixels.minX(), width_);
  const int top = nearestEdge(pixels.minY(), height_);
  Image part = withCapInsets(std::nullopt);
  part.width_ = nearestEdge(pixels.maxX(), width_) - left;
  part.height_ = nearestEdge(pixels.maxY(), height_) - top;
  if (part.width_ <= 0 || part.height_ <= 0) return std::nullopt;
  const std::size_t offset = static_cast<std::size_t>(left) * bytesOfPixel(format_);
  part.pixels_ = std::shared_ptr<const std::uint8_t>(pixels_, row(top) + offset);
  return part;
}

bool Image::operator==(const Image& other) const {
  if (width_ != other.width_ || height_ != other.height_ || scale_ != other.scale_ ||
      format_ != other.format_ || orientation_ != other.orientation_ ||
      capInsets_ != other.capInsets_)
    return false;
  const std::size_t bytes = static_cast<std::size_t>(width_) * bytesOfPixel(format_);
  for (int y = 0; y < height_; ++y)
    if (std::memcmp(row(y), other.row(y), bytes) != 0) return false;
  return true;
}

std::optional<PixelBuffer> PixelBuffer::make(double width, double height, PixelFormat format) {
  if (!(width >= 1 && height >= 1 && width <= kMostBytes && height <= kMostBytes))
    return std::nullopt;
  PixelBuffer buffer;
  buffer.image_.width_ = static_cast<int>(width);
  buffer.image_.height_ = static_cast<int>(height);
  buffer.image_.format_ = format;
  const std::size_t rowBytes = static_cast<std::size_t>(buffer.width()) * bytesOfPixel(format);
  buffer.image_.stride_ = (rowBytes + 3) / 4 * 4;
  if (static_cast<double>(buffer.stride()) * buffer.height() > kMostBytes) return std::nullopt;
  const std::size_t bytes = buffer.stride() * static_cast<std::size_t>(buffer.height());
  // Not set to zero: writing every byte twice would cost as much as many an operation itself.
  buffer.bytes_ = new (std::nothrow) std::uint8_t[bytes];
  if (buffer.bytes_ == nullptr) return std::nullopt;
  buffer.image_.pixels_.reset(buffer.bytes_, std::default_delete<const std::uint8_t[]>());
  return buffer;
}

void PixelBuffer::fill(std::uint32_t pixel) {
  for (int y = 0; y < height(); ++y) {
    if (image_.format_ == PixelFormat::Argb32)
      std::fill_n(colours(y), width(), pixel);
    else
      std::memset(row(y), static_cast<int>(pixel & 255), stride());
  }
}

Image PixelBuffer::finish(double scale, Orientation orientation) && {
  bytes_ = nullptr;
  return std::exchange(image_, Image()).withScale(scale).withOrientation(orientation);
}

}  // namespace kelm
