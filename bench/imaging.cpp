// link: kelm_imaging
// Pictures of 2048 by 2048 pixels, one thread, beside what draws and decodes elsewhere.

#include <benchmark/benchmark.h>
#include <cairo.h>
#include <pixman.h>
#include <png.h>
#include <turbojpeg.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <utility>

#include "bench/support/pairs.h"
#include "kelm/imaging/vasp_image_utils.h"
#include "kelm/imaging/vasp_noise_effect_layer.h"
#include "kelm/platform/graphics/canvas.h"
#include "kelm/platform/graphics/image_codec.h"
#include "kelm/platform/graphics/pixels/blur.h"
#include "kelm/platform/graphics/pixels/kernels.h"
#include "kelm/platform/graphics/pixels/resize.h"
#include "kelm/platform/graphics/pixels/turn.h"

namespace {

using kelm::Image;
using kelm::PixelBuffer;
namespace pixels = kelm::pixels;

constexpr int kSide = 2048;

/// Waves, some noise, and squares that are partly transparent.
Image picture(int side, bool isOpaque) {
  std::mt19937 random(1);
  PixelBuffer buffer = PixelBuffer::make(side, side).value();
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      const auto noise = static_cast<unsigned>(random() % 7);
      const std::uint32_t alpha = isOpaque || ((x / 256 + y / 256) & 1) != 0 ? 255 : 200;
      const auto part = [&](double value) {
        return (static_cast<std::uint32_t>(value) + noise) * alpha / 255;
      };
      buffer.colours(y)[x] = alpha << 24 | part(128 + 100 * std::sin(x / 97.0)) << 16 |
                             part(128 + 100 * std::cos(y / 61.0)) << 8 | part((x ^ y) / 16);
    }
  return std::move(buffer).finish();
}

cv::Mat matrixOf(const Image& image) {
  return {image.height(), image.width(), CV_8UC4, const_cast<std::uint8_t*>(image.pixels()),
          image.stride()};
}

pixman_image_t* pixmanOf(const Image& image) {
  return pixman_image_create_bits(
      PIXMAN_a8r8g8b8, image.width(), image.height(),
      reinterpret_cast<std::uint32_t*>(const_cast<std::uint8_t*>(image.pixels())),
      static_cast<int>(image.stride()));
}

void addBlurs(const Image& image) {
  for (const auto& [name, deviation] : {std::pair{"image_blur_5", 5.0}, {"image_blur_30", 30.0}})
    bench::addPair(
        name, [=] { return pixels::blurred(image, deviation)->pixels()[0]; },
        [=] {
          cv::Mat result;
          cv::GaussianBlur(matrixOf(image), result, {0, 0}, deviation, deviation,
                           cv::BORDER_REPLICATE);
          return result.data[0];
        });
}

void addMoves(const Image& image) {
  bench::addPair(
      "image_rotate_90",
      [=] { return pixels::turned(image, kelm::Orientation::Right)->pixels()[0]; },
      [=] {
        cv::Mat result;
        cv::rotate(matrixOf(image), result, cv::ROTATE_90_CLOCKWISE);
        return result.data[0];
      });
  bench::addPair(
      "image_crop_1024",
      [=] {
        return kelm::VaspImageUtils::imageWithImage_croppedWithRect(image, {200, 300, 1024, 1024})
            ->pixels()[0];
      },
      [=] { return matrixOf(image)(cv::Rect(200, 300, 1024, 1024)).clone().data[0]; });
  bench::addPair(
      "image_halve", [=] { return pixels::resized(image, kSide / 2, kSide / 2)->pixels()[0]; },
      [=] {
        cv::Mat result;
        cv::resize(matrixOf(image), result, {kSide / 2, kSide / 2}, 0, 0, cv::INTER_AREA);
        return result.data[0];
      });
}

void addTiles(const Image& image) {
  const Image tile = picture(512, false).cropped({128, 128, 256, 256}).value();
  const auto below = std::make_shared<PixelBuffer>(PixelBuffer::make(kSide, kSide).value());
  std::memcpy(below->row(0), image.pixels(), image.stride() * kSide);
  bench::addPair(
      "image_over_tile",
      [=] {
        for (int y = 0; y < kSide; ++y)
          for (int x = 0; x < kSide; x += 256)
            pixels::pixelKernels().over(below->colours(y) + x,
                                        reinterpret_cast<const std::uint32_t*>(tile.row(y % 256)),
                                        256);
        return below->row(0)[0];
      },
      [=] {
        pixman_image_t* source = pixmanOf(tile);
        pixman_image_t* target =
            pixman_image_create_bits(PIXMAN_a8r8g8b8, kSide, kSide, below->colours(0), kSide * 4);
        pixman_image_set_repeat(source, PIXMAN_REPEAT_NORMAL);
        pixman_image_composite32(PIXMAN_OP_OVER, source, nullptr, target, 0, 0, 0, 0, 0, 0, kSide,
                                 kSide);
        pixman_image_unref(source);
        pixman_image_unref(target);
        return below->row(0)[0];
      });
}

void takePng(png_structp png, png_bytep to, std::size_t count) {
  auto& rest = *static_cast<kelm::DataView*>(png_get_io_ptr(png));
  std::memcpy(to, rest.data(), count);
  rest = rest.subspan(count);
}

std::uint8_t libpngRows(kelm::DataView file) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_read_fn(png, &file, takePng);
  png_read_info(png, info);
  const std::unique_ptr<std::uint8_t[]> rows(new std::uint8_t[std::size_t{kSide} * kSide * 4]);
  for (int y = 0; y < kSide; ++y)
    png_read_row(png, rows.get() + static_cast<std::size_t>(y) * kSide * 4, nullptr);
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  return rows[0];
}

std::uint8_t turboJpeg(const kelm::Data& file) {
  tjhandle handle = tjInitDecompress();
  const std::unique_ptr<std::uint8_t[]> rows(new std::uint8_t[std::size_t{kSide} * kSide * 4]);
  tjDecompress2(handle, file.data(), file.size(), rows.get(), kSide, kSide * 4, kSide, TJPF_BGRA,
                0);
  tjDestroy(handle);
  return rows[0];
}

void addCodecs(const Image& image, const Image& opaque) {
  auto& codec = *kelm::platform::current<kelm::platform::ImageCodec>();
  const kelm::Data png = codec.encode(image, kelm::platform::ImageFormat::Png).value();
  const kelm::Data jpeg = codec.encode(opaque, kelm::platform::ImageFormat::Jpeg).value();
  bench::addPair(
      "image_png_decode", [=, &codec] { return codec.decode(png)->pixels()[0]; },
      [=] { return libpngRows(png); });
  bench::addPair(
      "image_jpeg_decode", [=, &codec] { return codec.decode(jpeg)->pixels()[0]; },
      [=] { return turboJpeg(jpeg); });
}

std::uint8_t cairoNoise(const Image& image, const Image& tile) {
  cairo_surface_t* target = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kSide, kSide);
  cairo_surface_t* source = cairo_image_surface_create_for_data(
      const_cast<std::uint8_t*>(image.pixels()), CAIRO_FORMAT_ARGB32, kSide, kSide, kSide * 4);
  cairo_surface_t* grain = cairo_image_surface_create_for_data(
      const_cast<std::uint8_t*>(tile.pixels()), CAIRO_FORMAT_ARGB32, tile.width(), tile.height(),
      static_cast<int>(tile.stride()));
  cairo_t* cairo = cairo_create(target);
  cairo_set_source_surface(cairo, source, 0, 0);
  cairo_paint(cairo);
  cairo_set_source_surface(cairo, grain, 0, 0);
  cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_REPEAT);
  cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_NEAREST);
  cairo_set_operator(cairo, CAIRO_OPERATOR_OVERLAY);
  cairo_paint_with_alpha(cairo, 0.04);
  cairo_destroy(cairo);
  const std::uint8_t first = cairo_image_surface_get_data(target)[0];
  cairo_surface_destroy(grain);
  cairo_surface_destroy(source);
  cairo_surface_destroy(target);
  return first;
}

void addNoise(const Image& image) {
  const auto noise = std::make_shared<kelm::VaspNoiseEffectLayer>();
  noise->setFrame({0, 0, kSide, kSide});
  const auto view = std::make_shared<kelm::View>(kelm::Rect{0, 0, kSide, kSide});
  view->layer()->contents = image;
  view->layer()->sublayers.push_back(noise);
  PixelBuffer tile = PixelBuffer::make(75, 75).value();
  tile.fill(0xFF808080U);
  const Image grain = std::move(tile).finish();
  bench::addPair(
      "image_noise", [=] { return kelm::VaspImageUtils::imageWithView(view)->pixels()[0]; },
      [=] { return cairoNoise(image, grain); });
}

[[maybe_unused]] const bool isRegistered = [] {
  cv::setNumThreads(1);
  const Image image = picture(kSide, false);
  addBlurs(image);
  addMoves(image);
  addTiles(image);
  addCodecs(image, picture(kSide, true));
  addNoise(image);
  return true;
}();

}  // namespace
