#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/colour.h"
#include "kelm/platform/graphics/geometry.h"

namespace kelm {

enum class PixelFormat : std::uint8_t {
  /// 32 bits a pixel in the machine's byte order, 0xAARRGGBB, components multiplied by alpha.
  Argb32,
  /// 8 bits a pixel: a gray tone, or in a mask how much shows.
  Gray8,
};

/// How a picture's rows have to be turned to be seen upright. Mirrored ones are flipped from left
/// to right before that.
enum class Orientation : std::uint8_t {
  Up = 0,
  Down = 1,   ///< turned by half a turn
  Left = 2,   ///< turned by a quarter, counter-clockwise
  Right = 3,  ///< turned by a quarter, clockwise
  UpMirrored = 4,
  DownMirrored = 5,
  LeftMirrored = 6,
  RightMirrored = 7,
};

/// The pixels of a picture, which cannot be changed; copies and crops share them. There is always
/// at least one pixel: "no picture" is an absent optional. Thread-safe.
class KELM_API Image {
 public:
  int width() const { return width_; }    ///< in pixels, of the rows as they lie in memory
  int height() const { return height_; }  ///< in rows
  PixelFormat format() const { return format_; }
  /// Bytes from one row to the next: a multiple of 4.
  std::size_t stride() const { return stride_; }
  const std::uint8_t* row(int y) const {
    return pixels_.get() + static_cast<std::size_t>(y) * stride_;
  }
  const std::uint8_t* pixels() const { return pixels_.get(); }
  /// Keeps the pixels alive, for who lends them to a toolkit.
  const std::shared_ptr<const std::uint8_t>& owner() const { return pixels_; }
  /// As 0xAARRGGBB, multiplied by alpha; a gray tone as an opaque colour. Inside of the picture.
  std::uint32_t pixel(int x, int y) const;

  double scale() const { return scale_; }  ///< pixels a point
  Orientation orientation() const { return orientation_; }
  /// In points, as it is seen: sides are exchanged for what lies on its side.
  Size size() const;

  /// In points: what keeps its size when the picture is stretched; absent: nothing does.
  const std::optional<Insets>& capInsets() const { return capInsets_; }

  /// The same pixels with another scale, which is positive and finite (1 if not), or orientation.
  Image withScale(double scale) const;
  Image withOrientation(Orientation orientation) const;
  Image withCapInsets(const std::optional<Insets>& insets) const;
  /// The pixels that the rectangle, in pixels of the rows in memory, covers by at least half of
  /// their width and height (sides are rounded to the nearest). Shares them, without cap insets.
  /// Absent if there are none, or a number is NaN.
  std::optional<Image> cropped(const Rect& pixels) const;

  /// True if all pixels are the same, and format, scale, orientation and caps too.
  bool operator==(const Image& other) const;

 private:
  friend class PixelBuffer;
  Image() = default;

  std::shared_ptr<const std::uint8_t> pixels_;
  std::size_t stride_ = 0;
  int width_ = 0;
  int height_ = 0;
  double scale_ = 1;
  std::optional<Insets> capInsets_;
  PixelFormat format_ = PixelFormat::Argb32;
  Orientation orientation_ = Orientation::Up;
};

/// Pixels that are being written; they become a picture without a copy. For one thread, or for
/// several that write different rows.
class KELM_API PixelBuffer {
 public:
  /// A buffer of that size, rounded down; every pixel must be written, or cleared, before it is
  /// read. Absent for a side below 1 or NaN, for more than 2^31 - 1 pixels a side or bytes in all,
  /// and when there is no memory.
  static std::optional<PixelBuffer> make(double width, double height,
                                         PixelFormat format = PixelFormat::Argb32);

  int width() const { return image_.width_; }
  int height() const { return image_.height_; }
  std::size_t stride() const { return image_.stride_; }
  std::uint8_t* row(int y) { return bytes_ + static_cast<std::size_t>(y) * image_.stride_; }
  /// A row of a coloured picture.
  std::uint32_t* colours(int y) { return reinterpret_cast<std::uint32_t*>(row(y)); }
  /// Writes the pixel, or the byte of a gray picture, everywhere.
  void fill(std::uint32_t pixel);
  void fill(const Colour& colour) { fill(colour.premultiplied()); }

  /// The picture; this buffer has no pixels any more.
  Image finish(double scale = 1, Orientation orientation = Orientation::Up) &&;

 private:
  PixelBuffer() = default;

  Image image_;
  std::uint8_t* bytes_ = nullptr;
};

}  // namespace kelm
