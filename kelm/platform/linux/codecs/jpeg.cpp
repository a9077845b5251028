#include <turbojpeg.h>

#include <bit>
#include <memory>
#include <utility>

#include "kelm/platform/graphics/pixels/compose.h"
#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/linux/codecs/exif.h"
#include "kelm/platform/linux/codecs/formats.h"

namespace kelm::platform::codecs {
namespace {

struct Destroy {
  void operator()(void* handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, Destroy>;

/// Alpha is where the machine's order has it; decoding makes it opaque.
constexpr int kPixelFormat = std::endian::native == std::endian::little ? TJPF_BGRA : TJPF_ARGB;
/// The result, and the coefficients of a progressive file: two bytes for each of four components.
constexpr std::uint64_t kBytesOfPixel = 12;

constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kApplication1 = 0xE1;
constexpr std::size_t kExifName = 6;

/// The segments in front of the first scan: calls `take` with the marker and the data of each until
/// it returns true.
template <class Take>
void eachSegment(DataView bytes, Take take) {
  for (std::size_t at = 2; at + 4 <= bytes.size() && bytes[at] == 0xFF;) {
    const std::uint8_t marker = bytes[at + 1];
    if (marker == 0xFF) {  // padding
      ++at;
      continue;
    }
    if (marker == kStartOfScan) return;
    const std::size_t length = bigEndian(bytes, at + 2, 2);
    if (length < 2 || length > bytes.size() - at - 2) return;
    if (take(marker, bytes.subspan(at + 4, length - 2))) return;
    at += 2 + length;
  }
}

Orientation orientationIn(DataView bytes) {
  Orientation orientation = Orientation::Up;
  eachSegment(bytes, [&](std::uint8_t marker, DataView data) {
    if (marker != kApplication1 || !startsWith(data, std::string_view("Exif\0\0", kExifName)))
      return false;
    orientation = orientationOf(data.subspan(kExifName));
    return true;
  });
  return orientation;
}

/// True if the file says of its CMYK components that they are those of ink, as they are without
/// Adobe's segment; that program writes the opposite.
bool isInk(DataView bytes) {
  bool isAdobe = false;
  eachSegment(bytes, [&](std::uint8_t marker, DataView data) {
    isAdobe = isAdobe || (marker == 0xEE && startsWith(data, "Adobe"));
    return isAdobe;
  });
  return !isAdobe;
}

bool decodeCmyk(tjhandle handle, DataView bytes, PixelBuffer& buffer, int flags) {
  if (tjDecompress2(handle, bytes.data(), bytes.size(), buffer.row(0), buffer.width(),
                    static_cast<int>(buffer.stride()), buffer.height(), TJPF_CMYK, flags) != 0)
    return false;
  const std::uint32_t inverse = isInk(bytes) ? 255 : 0;
  for (int y = 0; y < buffer.height(); ++y) {
    std::uint8_t* row = buffer.row(y);
    for (int x = 0; x < buffer.width(); ++x) {
      const std::uint8_t* cmyk = row + static_cast<std::size_t>(x) * 4;
      const auto light = [&](int k) {
        return ((cmyk[k] ^ inverse) * (cmyk[3] ^ inverse) + 127) / 255;
      };
      buffer.colours(y)[x] = 0xFF000000U | light(0) << 16 | light(1) << 8 | light(2);
    }
  }
  return true;
}

}  // namespace

bool isJpeg(DataView bytes) { return startsWith(bytes, "\xFF\xD8\xFF"); }

std::optional<Image> decodeJpeg(DataView bytes, const ImageLimits& limits) {
  const Handle handle(tjInitDecompress());
  if (!handle) return std::nullopt;
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colours = 0;
  if (tjDecompressHeader3(handle.get(), bytes.data(), bytes.size(), &width, &height, &subsampling,
                          &colours) != 0)
    return std::nullopt;
  if (width <= 0 || height <= 0 ||
      !isWithin(limits, static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height),
                kBytesOfPixel))
    return std::nullopt;
  auto buffer = PixelBuffer::make(width, height);
  if (!buffer) return std::nullopt;
  // A file that was cut is one with a warning. A file of few bytes may ask for thousands of scans
  // of the whole picture.
  const int flags = TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS;
  const bool isCmyk = colours == TJCS_CMYK || colours == TJCS_YCCK;
  const bool isDecoded =
      isCmyk ? decodeCmyk(handle.get(), bytes, *buffer, flags)
             : tjDecompress2(handle.get(), bytes.data(), bytes.size(), buffer->row(0), width,
                             static_cast<int>(buffer->stride()), height, kPixelFormat, flags) == 0;
  if (!isDecoded) return std::nullopt;
  return std::move(*buffer).finish(1, orientationIn(bytes));
}

std::optional<Data> encodeJpeg(const Image& image, int quality) {
  constexpr int kLongestSide = 65535;
  if (image.width() > kLongestSide || image.height() > kLongestSide) return std::nullopt;
  auto white = PixelBuffer::make(image.width(), image.height());
  const Handle handle(tjInitCompress());
  if (!white || !handle) return std::nullopt;
  white->fill(0xFFFFFFFFU);
  pixels::drawOver(*white, image, 0, 0);
  unsigned char* out = nullptr;
  unsigned long size = 0;  // NOLINT(google-runtime-int): the library's
  const int result = tjCompress2(handle.get(), white->row(0), image.width(),
                                 static_cast<int>(white->stride()), image.height(), kPixelFormat,
                                 &out, &size, quality >= 90 ? TJSAMP_444 : TJSAMP_420, quality, 0);
  const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owned(out, tjFree);
  if (result != 0) return std::nullopt;
  Data file(out, out + size);
  if (image.orientation() == Orientation::Up) return file;
  const Data exif = exifWith(image.orientation());
  const std::size_t length = 2 + kExifName + exif.size();
  Data segment = {0xFF, kApplication1, static_cast<std::uint8_t>(length >> 8),
                  static_cast<std::uint8_t>(length)};
  append(segment, std::string_view("Exif\0\0", kExifName));
  append(segment, exif);
  file.insert(file.begin() + 2, segment.begin(), segment.end());
  return file;
}

}  // namespace kelm::platform::codecs
