#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <random>
#include <utility>

#include "kelm/platform/graphics/image.h"

namespace kelm::pixels {

/// Random valid pixels: no component above alpha.
inline std::uint32_t randomPixel(std::mt19937& random) {
  const std::uint32_t alpha = random() % 4 == 0 ? (random() % 2) * 255 : random() % 256;
  std::uint32_t pixel = alpha << 24;
  for (unsigned shift = 0; shift < 24; shift += 8)
    pixel |= random() % (alpha + 1) << shift;
  return pixel;
}

inline Image randomPicture(int width, int height, unsigned seed = 1) {
  std::mt19937 random(seed);
  PixelBuffer buffer = PixelBuffer::make(width, height).value();
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      buffer.colours(y)[x] = randomPixel(random);
  return std::move(buffer).finish(2, Orientation::Left);
}

/// Waves with edges and a little noise, as in a photograph.
inline Image photo(int width, int height) {
  std::mt19937 random(7);
  PixelBuffer buffer = PixelBuffer::make(width, height).value();
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const auto wave = [&](double period, double phase) {
        return static_cast<std::uint32_t>(120 + 100 * std::sin(x / period + y / phase) +
                                          random() % 7);
      };
      const std::uint32_t block = (x / 40 + y / 30) % 3 == 0 ? 20 : 0;
      buffer.colours(y)[x] =
          0xFF000000U | wave(31, 57) << 16 | wave(13, 71) << 8 | (wave(97, 23) - block);
    }
  return std::move(buffer).finish();
}

inline Image pictureOf(int width, std::initializer_list<std::uint32_t> pixels) {
  PixelBuffer buffer = PixelBuffer::make(width, static_cast<double>(pixels.size()) / width).value();
  int i = 0;
  for (const std::uint32_t pixel : pixels) {
    buffer.colours(i / width)[i % width] = pixel;
    ++i;
  }
  return std::move(buffer).finish();
}

inline int component(std::uint32_t pixel, unsigned index) {
  return static_cast<int>(pixel >> (8 * index) & 255);
}

/// The largest difference of any component; 256 where the sizes differ.
inline int difference(const Image& one, const Image& other) {
  if (one.width() != other.width() || one.height() != other.height()) return 256;
  int most = 0;
  for (int y = 0; y < one.height(); ++y)
    for (int x = 0; x < one.width(); ++x)
      for (unsigned k = 0; k < 4; ++k)
        most = std::max(most,
                        std::abs(component(one.pixel(x, y), k) - component(other.pixel(x, y), k)));
  return most;
}

/// Peak signal to noise, in decibels; 99 for equal pictures.
inline double decibels(const Image& one, const Image& other) {
  double sum = 0;
  for (int y = 0; y < one.height(); ++y)
    for (int x = 0; x < one.width(); ++x)
      for (unsigned k = 0; k < 4; ++k)
        sum += std::pow(component(one.pixel(x, y), k) - component(other.pixel(x, y), k), 2);
  const double mean = sum / (4.0 * one.width() * one.height());
  return mean == 0 ? 99 : 10 * std::log10(255 * 255 / mean);
}

}  // namespace kelm::pixels
