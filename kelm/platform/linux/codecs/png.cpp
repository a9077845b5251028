#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"
#include "kelm/platform/linux/codecs/exif.h"
#include "kelm/platform/linux/codecs/formats.h"

namespace kelm::platform::codecs {
namespace {

constexpr std::uint64_t kBytesOfPixel = 4;
/// Memory that the library itself may take beside the pixels: its state, a few rows, and chunks.
constexpr std::size_t kLeastWorkBytes = 1 << 20;

/// The library jumps out of a failing call, over everything that it does not know of: between
/// guarded() and that call nothing may have a destructor.
template <class Job>
bool guarded(png_structp png, Job& job, void (*step)(Job&)) {
  if (setjmp(png_jmpbuf(png)) != 0) return false;
  step(job);
  return true;
}

[[noreturn]] void fail(png_structp png, png_const_charp /*message*/) { png_longjmp(png, 1); }
void ignore(png_structp /*png*/, png_const_charp /*message*/) {}

struct Reading {
  DataView rest;
  std::size_t memory = 0;  ///< that may still be taken
  png_structp png = nullptr;
  png_infop info = nullptr;
  PixelBuffer* buffer = nullptr;
  bool hasAlpha = false;
  int passes = 1;
};

/// In front of each block is its size.
constexpr std::size_t kSizeBytes = alignof(std::max_align_t);

png_voidp allocate(png_structp png, png_alloc_size_t size) {
  auto& reading = *static_cast<Reading*>(png_get_mem_ptr(png));
  if (size > reading.memory) return nullptr;
  auto* block = static_cast<std::uint8_t*>(std::malloc(size + kSizeBytes));
  if (block == nullptr) return nullptr;
  reading.memory -= size;
  std::memcpy(block, &size, sizeof size);
  return block + kSizeBytes;
}

void release(png_structp png, png_voidp memory) {
  if (memory == nullptr) return;
  auto* block = static_cast<std::uint8_t*>(memory) - kSizeBytes;
  png_alloc_size_t size = 0;
  std::memcpy(&size, block, sizeof size);
  static_cast<Reading*>(png_get_mem_ptr(png))->memory += size;
  std::free(block);
}

void takeBytes(png_structp png, png_bytep to, std::size_t count) {
  auto& reading = *static_cast<Reading*>(png_get_io_ptr(png));
  if (count > reading.rest.size()) png_error(png, "cut");
  std::memcpy(to, reading.rest.data(), count);
  reading.rest = reading.rest.subspan(count);
}

/// Components of other files than sRGB's are brought to its curve; 0.45455 is close enough to it.
void setGamma(png_structp png, png_infop info) {
  constexpr double kOfScreens = 0.45455;
  double gamma = 0;
  const bool isKnown = png_get_valid(png, info, PNG_INFO_sRGB | PNG_INFO_iCCP) != 0;
  if (!isKnown && png_get_gAMA(png, info, &gamma) != 0 && std::abs(gamma - kOfScreens) > 0.01)
    png_set_gamma(png, PNG_DEFAULT_sRGB, gamma);
}

/// Whatever is in the file becomes rows of red, green, blue and alpha bytes.
void setTransforms(Reading& reading) {
  png_structp png = reading.png;
  const int colours = png_get_color_type(png, reading.info);
  const bool hasKey = png_get_valid(png, reading.info, PNG_INFO_tRNS) != 0;
  reading.hasAlpha = hasKey || (colours & PNG_COLOR_MASK_ALPHA) != 0;
  png_set_expand(png);
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  setGamma(png, reading.info);
  if (!reading.hasAlpha) png_set_add_alpha(png, 255, PNG_FILLER_AFTER);
  reading.passes = png_set_interlace_handling(png);
  png_read_update_info(png, reading.info);
}

void premultiply(PixelBuffer& buffer, int y) {
  pixels::pixelKernels().premultiply(buffer.row(y), buffer.colours(y),
                                     static_cast<std::size_t>(buffer.width()));
}

void readHeader(Reading& reading) {
  png_set_read_fn(reading.png, &reading, takeBytes);
  // A wrong sum anywhere is a damaged file.
  png_set_crc_action(reading.png, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
  png_read_info(reading.png, reading.info);
}

void readPixels(Reading& reading) {
  setTransforms(reading);
  PixelBuffer& buffer = *reading.buffer;
  if (png_get_rowbytes(reading.png, reading.info) != static_cast<std::size_t>(buffer.width()) * 4)
    png_error(reading.png, "another format of rows");
  for (int pass = 1; pass <= reading.passes; ++pass)
    for (int y = 0; y < buffer.height(); ++y) {
      png_read_row(reading.png, buffer.row(y), nullptr);
      if (pass == reading.passes) premultiply(buffer, y);
    }
  png_read_end(reading.png, reading.info);
}

Orientation orientationIn(png_structp png, png_infop info) {
  png_uint_32 size = 0;
  png_bytep exif = nullptr;
  if (png_get_eXIf_1(png, info, &size, &exif) == 0) return Orientation::Up;
  return orientationOf({exif, size});
}

std::optional<Image> decodeWith(Reading& reading, const ImageLimits& limits) {
  reading.info = png_create_info_struct(reading.png);
  if (reading.info == nullptr || !guarded(reading.png, reading, readHeader)) return std::nullopt;
  const std::uint64_t width = png_get_image_width(reading.png, reading.info);
  const std::uint64_t height = png_get_image_height(reading.png, reading.info);
  if (!isWithin(limits, width, height, kBytesOfPixel)) return std::nullopt;
  auto buffer = PixelBuffer::make(static_cast<double>(width), static_cast<double>(height));
  if (!buffer) return std::nullopt;
  reading.buffer = &*buffer;
  const std::uint64_t left = limits.bytes - width * height * kBytesOfPixel;
  reading.memory = static_cast<std::size_t>(std::min<std::uint64_t>(left, reading.memory));
  if (!guarded(reading.png, reading, readPixels)) return std::nullopt;
  return std::move(*buffer).finish(1, orientationIn(reading.png, reading.info));
}

struct Writing {
  png_structp png = nullptr;
  png_infop info = nullptr;
  const Image* image = nullptr;
  Data file;
  Data row;
  Data exif;
};

void putBytes(png_structp png, png_bytep bytes, std::size_t count) {
  auto& writing = *static_cast<Writing*>(png_get_io_ptr(png));
  bool isKept = true;
  try {
    append(writing.file, DataView(bytes, count));
  } catch (const std::bad_alloc&) {
    isKept = false;
  }
  if (!isKept) png_error(png, "no memory");
}

bool isOpaque(const Image& image) {
  for (int y = 0; y < image.height(); ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(image.row(y));
    std::uint32_t all = 0xFF000000U;
    for (int x = 0; x < image.width(); ++x)
      all &= row[x];
    if (all != 0xFF000000U) return false;
  }
  return true;
}

void writeAll(Writing& writing) {
  const Image& image = *writing.image;
  png_structp png = writing.png;
  const bool isGray = image.format() == PixelFormat::Gray8;
  const bool isRgb = !isGray && isOpaque(image);
  const int colours = isGray  ? PNG_COLOR_TYPE_GRAY
                      : isRgb ? PNG_COLOR_TYPE_RGB
                              : PNG_COLOR_TYPE_RGB_ALPHA;
  png_set_write_fn(png, &writing, putBytes, nullptr);
  png_set_IHDR(png, writing.info, static_cast<png_uint_32>(image.width()),
               static_cast<png_uint_32>(image.height()), 8, colours, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_sRGB(png, writing.info, PNG_sRGB_INTENT_PERCEPTUAL);
  if (!writing.exif.empty())
    png_set_eXIf_1(png, writing.info, static_cast<png_uint_32>(writing.exif.size()),
                   writing.exif.data());
  png_write_info(png, writing.info);
  if (isRgb) png_set_filler(png, 0, PNG_FILLER_AFTER);
  for (int y = 0; y < image.height(); ++y) {
    if (!isGray)
      pixels::pixelKernels().unpremultiply(reinterpret_cast<const std::uint32_t*>(image.row(y)),
                                           writing.row.data(),
                                           static_cast<std::size_t>(image.width()));
    png_write_row(png, isGray ? image.row(y) : writing.row.data());
  }
  png_write_end(png, writing.info);
}

}  // namespace

bool isPng(DataView bytes) { return startsWith(bytes, "\x89PNG\r\n\x1A\n"); }

std::optional<Image> decodePng(DataView bytes, const ImageLimits& limits) {
  Reading reading;
  reading.rest = bytes;
  reading.memory = static_cast<std::size_t>(
      std::clamp<std::uint64_t>(limits.bytes, kLeastWorkBytes, SIZE_MAX / 2));
  reading.png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, nullptr, fail, ignore, &reading,
                                         allocate, release);
  if (reading.png == nullptr) return std::nullopt;
  auto image = decodeWith(reading, limits);
  png_destroy_read_struct(&reading.png, &reading.info, nullptr);
  return image;
}

std::optional<Data> encodePng(const Image& image) {
  Writing writing;
  writing.image = &image;
  writing.row.resize(static_cast<std::size_t>(image.width()) * 4);
  if (image.orientation() != Orientation::Up) writing.exif = exifWith(image.orientation());
  writing.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, ignore);
  if (writing.png == nullptr) return std::nullopt;
  writing.info = png_create_info_struct(writing.png);
  const bool isWritten = writing.info != nullptr && guarded(writing.png, writing, writeAll);
  png_destroy_write_struct(&writing.png, &writing.info);
  if (!isWritten) return std::nullopt;
  return std::move(writing.file);
}

}  // namespace kelm::platform::codecs
