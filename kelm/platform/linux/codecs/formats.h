#pragma once

#include <optional>

#include "kelm/platform/graphics/image_codec.h"

namespace kelm::platform::codecs {

bool isPng(DataView bytes);
bool isJpeg(DataView bytes);
bool isWebP(DataView bytes);

std::optional<Image> decodePng(DataView bytes, const ImageLimits& limits);
std::optional<Image> decodeJpeg(DataView bytes, const ImageLimits& limits);
std::optional<Image> decodeWebP(DataView bytes, const ImageLimits& limits);

std::optional<Data> encodePng(const Image& image);
std::optional<Data> encodeJpeg(const Image& image, int quality);
std::optional<Data> encodeWebP(const Image& image, const EncodingOptions& options);

/// True if a picture of that size, which takes that many bytes a pixel while it is decoded, is
/// within the limits.
inline bool isWithin(const ImageLimits& limits, std::uint64_t width, std::uint64_t height,
                     std::uint64_t bytesOfPixel) {
  if (width == 0 || height == 0 || width > limits.pixels / height) return false;
  return width * height <= limits.bytes / bytesOfPixel;
}

/// A number of two or four bytes at an offset, the most significant byte first; 0 beyond the end.
inline std::uint32_t bigEndian(DataView bytes, std::size_t at, std::size_t count) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < count; ++i)
    value = value << 8 | (at + i < bytes.size() ? bytes[at + i] : 0U);
  return value;
}

inline bool startsWith(DataView bytes, std::string_view start, std::size_t at = 0) {
  return bytes.size() >= at + start.size() && textOf(bytes.subspan(at, start.size())) == start;
}

}  // namespace kelm::platform::codecs
