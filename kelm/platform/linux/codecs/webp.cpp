#include <webp/decode.h>
#include <webp/encode.h>

#include <algorithm>
#include <utility>

#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"
#include "kelm/platform/linux/codecs/exif.h"
#include "kelm/platform/linux/codecs/formats.h"

namespace kelm::platform::codecs {
namespace {

constexpr std::size_t kHeaderBytes = 12;
constexpr std::uint64_t kBytesOfPixel = 12;  // the result, the decoder's own pixels and its tables

std::uint32_t littleEndian(DataView bytes, std::size_t at) {
  return __builtin_bswap32(bigEndian(bytes, at, 4));
}

/// The data of the first chunk of that name; empty without.
DataView chunkOf(DataView bytes, std::string_view name) {
  for (std::size_t at = kHeaderBytes; bytes.size() - at >= 8;) {
    const std::size_t size = littleEndian(bytes, at + 4);
    const std::size_t left = bytes.size() - at - 8;
    if (startsWith(bytes, name, at)) return bytes.subspan(at + 8, std::min(size, left));
    if (size + size % 2 > left) break;
    at += 8 + size + size % 2;
  }
  return {};
}

void appendNumber(Data& to, std::size_t value, unsigned bytes) {
  for (unsigned shift = 0; shift < 8 * bytes; shift += 8)
    to.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// The header of the extended form, which has flags and a size, in front of chunks.
constexpr std::size_t kExtendedBytes = 18;
constexpr std::size_t kHasAlpha = 0x10;
constexpr std::size_t kHasExif = 0x08;

void appendExtended(Data& to, std::size_t flags, int width, int height) {
  append(to, "VP8X");
  appendNumber(to, 10, 4);
  appendNumber(to, flags, 4);
  appendNumber(to, static_cast<std::size_t>(width - 1), 3);
  appendNumber(to, static_cast<std::size_t>(height - 1), 3);
}

/// Returns the first frame of an animation as a picture file of its own: its chunks without the
/// header.
Data firstFrame(DataView bytes) {
  constexpr std::size_t kFrameHeader = 16;
  const DataView frame = chunkOf(bytes, "ANMF");
  if (frame.size() < kFrameHeader) return {};
  const DataView parts = frame.subspan(kFrameHeader);
  Data file = dataOf("RIFF");
  const bool hasAlpha = startsWith(parts, "ALPH");
  appendNumber(file, 4 + parts.size() + (hasAlpha ? kExtendedBytes : 0), 4);
  append(file, "WEBP");
  if (hasAlpha) {  // which only the extended form may have as a chunk
    const auto side = [&](std::size_t at) {
      return static_cast<int>(littleEndian(frame, at) & 0xFFFFFF) + 1;
    };
    appendExtended(file, kHasAlpha, side(6), side(9));
  }
  append(file, parts);
  return file;
}

/// The file with its chunks in the extended form and EXIF data behind them.
Data withExif(const Data& simple, const Image& image) {
  const DataView chunks = DataView(simple).subspan(kHeaderBytes);
  const bool isExtended = startsWith(chunks, "VP8X");
  const Data exif = exifWith(image.orientation());
  Data file = dataOf("RIFF");
  appendNumber(file, 4 + (isExtended ? 0 : kExtendedBytes) + chunks.size() + 8 + exif.size(), 4);
  append(file, "WEBP");
  if (!isExtended) appendExtended(file, kHasAlpha, image.width(), image.height());
  append(file, chunks);
  file[kHeaderBytes + 8] |= kHasExif;  // the flags
  append(file, "EXIF");
  appendNumber(file, exif.size(), 4);
  append(file, exif);
  return file;
}

Orientation orientationIn(DataView bytes) {
  DataView exif = chunkOf(bytes, "EXIF");
  if (startsWith(exif, std::string_view("Exif\0\0", 6))) exif = exif.subspan(6);
  return orientationOf(exif);
}

}  // namespace

bool isWebP(DataView bytes) { return startsWith(bytes, "RIFF") && startsWith(bytes, "WEBP", 8); }

std::optional<Image> decodeWebP(DataView bytes, const ImageLimits& limits) {
  WebPBitstreamFeatures features;
  if (WebPGetFeatures(bytes.data(), bytes.size(), &features) != VP8_STATUS_OK) return std::nullopt;
  // A file may be longer than the size that it reports.
  if (littleEndian(bytes, 4) > bytes.size() - 8) return std::nullopt;
  if (features.has_animation != 0) {
    const Data frame = firstFrame(bytes);
    return isWebP(frame) ? decodeWebP(frame, limits) : std::nullopt;
  }
  const auto width = static_cast<std::uint64_t>(features.width);
  const auto height = static_cast<std::uint64_t>(features.height);
  if (!isWithin(limits, width, height, kBytesOfPixel)) return std::nullopt;
  auto buffer = PixelBuffer::make(features.width, features.height);
  if (!buffer) return std::nullopt;
  const std::size_t size = buffer->stride() * static_cast<std::size_t>(buffer->height());
  if (WebPDecodeRGBAInto(bytes.data(), bytes.size(), buffer->row(0), size,
                         static_cast<int>(buffer->stride())) == nullptr)
    return std::nullopt;
  pixels::pixelKernels().premultiply(buffer->row(0), buffer->colours(0), size / 4);
  return std::move(*buffer).finish(1, orientationIn(bytes));
}

std::optional<Data> encodeWebP(const Image& given, const EncodingOptions& options) {
  const auto image = pixels::coloured(given);
  if (!image || image->width() > WEBP_MAX_DIMENSION || image->height() > WEBP_MAX_DIMENSION)
    return std::nullopt;
  const std::size_t count = static_cast<std::size_t>(image->width());
  Data rgba(count * 4 * static_cast<std::size_t>(image->height()));
  for (int y = 0; y < image->height(); ++y)
    pixels::pixelKernels().unpremultiply(reinterpret_cast<const std::uint32_t*>(image->row(y)),
                                         rgba.data() + static_cast<std::size_t>(y) * count * 4,
                                         count);
  std::uint8_t* out = nullptr;
  const int stride = image->width() * 4;
  const std::size_t size =
      options.isLossless
          ? WebPEncodeLosslessRGBA(rgba.data(), image->width(), image->height(), stride, &out)
          : WebPEncodeRGBA(rgba.data(), image->width(), image->height(), stride,
                           static_cast<float>(options.quality), &out);
  if (size == 0) return std::nullopt;
  Data file(out, out + size);
  WebPFree(out);
  if (image->orientation() == Orientation::Up) return file;
  return withExif(file, *image);
}

}  // namespace kelm::platform::codecs
