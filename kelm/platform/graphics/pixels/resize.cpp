#include "kelm/platform/graphics/pixels/resize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"

namespace kelm::pixels {
namespace {

/// The pixels of the source that one of the result is made of.
struct Taps {
  int first = 0;
  std::vector<float> weights;
};

Taps areaTaps(int index, double step, int count) {
  const double begin = index * step;
  const double end = std::min(begin + step, double{count * 1.0});
  Taps taps{std::min(static_cast<int>(begin), count - 1), {}};
  for (int i = taps.first; i < count && (i < end || taps.weights.empty()); ++i) {
    const double covered = std::min(i + 1.0, end) - std::max(double{i * 1.0}, begin);
    if (covered < 1e-6 && !taps.weights.empty()) break;
    taps.weights.push_back(static_cast<float>(covered / step));
  }
  return taps;
}

double catmullRom(double x) {
  x = std::abs(x);
  if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
  if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
  return 0;
}

Taps cubicTaps(int index, double step, int count) {
  const double centre = (index + 0.5) * step - 0.5;
  const int from = static_cast<int>(std::floor(centre)) - 1;
  Taps taps{std::clamp(from, 0, count - 1), {}};
  taps.weights.assign(static_cast<std::size_t>(std::clamp(from + 3, 0, count - 1) - taps.first + 1),
                      0.0F);
  // Pixels beyond an edge repeat the edge.
  for (int i = from; i < from + 4; ++i)
    taps.weights[static_cast<std::size_t>(std::clamp(i, 0, count - 1) - taps.first)] +=
        static_cast<float>(catmullRom(centre - i));
  return taps;
}

std::vector<Taps> tapsFor(int from, int to) {
  std::vector<Taps> taps;
  taps.reserve(static_cast<std::size_t>(to));
  const double step = static_cast<double>(from) / to;
  for (int i = 0; i < to; ++i)
    taps.push_back(step > 1 ? areaTaps(i, step, from) : cubicTaps(i, step, from));
  return taps;
}

double decoded(double encoded) {
  return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}
double encoded(double light) {
  return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

/// Components of pixels as light from 0 to 255, multiplied by alpha, in the order of their bytes.
class LightRows {
 public:
  explicit LightRows(const Image& image) : image_(image) {
    for (std::size_t i = 0; i < table_.size(); ++i)
      table_[i] = static_cast<float>(255 * decoded(static_cast<double>(i) / 255));
  }

  void add(float* sums, int y, float weight) {
    const std::size_t count = static_cast<std::size_t>(image_.width());
    bytes_.resize(count * 4);
    pixelKernels().unpremultiply(reinterpret_cast<const std::uint32_t*>(image_.row(y)),
                                 bytes_.data(), count);
    for (std::size_t i = 0; i < count * 4; i += 4) {
      const float alpha = bytes_[i + 3];
      for (std::size_t k = 0; k < 3; ++k)
        sums[i + k] += weight * table_[bytes_[i + k]] * alpha / 255;
      sums[i + 3] += weight * alpha;
    }
  }

  static std::uint32_t pixel(const float* light) {
    const double alpha = std::clamp(light[3] / 255.0, 0.0, 1.0);
    if (alpha < 0.5 / 255) return 0;
    const auto part = [&](std::size_t k) {
      return encoded(std::clamp(light[k] / 255.0 / alpha, 0.0, 1.0));
    };
    return Colour{part(0), part(1), part(2), alpha}.premultiplied();
  }

 private:
  const Image& image_;
  std::array<float, 256> table_;
  Data bytes_;
};

using Four [[gnu::vector_size(16)]] = float;

void sumAlong(const std::vector<Taps>& columns, const float* sums, float* row) {
  for (const Taps& taps : columns) {
    Four sum{};
    const float* from = sums + static_cast<std::size_t>(taps.first) * 4;
    for (const float weight : taps.weights) {
      Four pixel;
      std::memcpy(&pixel, from, sizeof pixel);
      sum += pixel * weight;
      from += 4;
    }
    std::memcpy(row, &sum, sizeof sum);
    row += 4;
  }
}

/// A cubic may go beyond its points, but no component beyond alpha.
void limitToAlpha(std::uint32_t* pixels, int count) {
  for (int x = 0; x < count; ++x) {
    const std::uint32_t pixel = pixels[x];
    const std::uint32_t alpha = pixel >> 24;
    if (alpha == 255) continue;
    std::uint32_t limited = alpha << 24;
    for (unsigned shift = 0; shift < 24; shift += 8)
      limited |= std::min(pixel >> shift & 255, alpha) << shift;
    pixels[x] = limited;
  }
}

void resample(const Image& image, PixelBuffer& result, Averaging averaging) {
  const PixelKernels& kernels = pixelKernels();
  const std::vector<Taps> columns = tapsFor(image.width(), result.width());
  const std::vector<Taps> rows = tapsFor(image.height(), result.height());
  const std::size_t count = static_cast<std::size_t>(image.width()) * 4;
  std::vector<float> sums(count);
  std::vector<float> row(static_cast<std::size_t>(result.width()) * 4);
  LightRows light(image);
  for (int y = 0; y < result.height(); ++y) {
    std::fill(sums.begin(), sums.end(), 0.0F);
    int from = rows[static_cast<std::size_t>(y)].first;
    for (const float weight : rows[static_cast<std::size_t>(y)].weights) {
      if (averaging == Averaging::LinearLight)
        light.add(sums.data(), from++, weight);
      else
        kernels.addWeighted(sums.data(), image.row(from++), count, weight);
    }
    sumAlong(columns, sums.data(), row.data());
    if (averaging == Averaging::LinearLight) {
      for (int x = 0; x < result.width(); ++x)
        result.colours(y)[x] = LightRows::pixel(row.data() + static_cast<std::size_t>(x) * 4);
    } else {
      kernels.roundToBytes(row.data(), result.row(y), row.size());
      limitToAlpha(result.colours(y), result.width());
    }
  }
}

}  // namespace

std::optional<Image> resized(const Image& image, double width, double height, Averaging averaging) {
  auto result = PixelBuffer::make(width, height);
  const auto source = result ? coloured(image) : std::nullopt;
  if (!source) return std::nullopt;
  if (source->width() == result->width() && source->height() == result->height()) return image;
  const bool isHalf =
      source->width() == 2 * result->width() && source->height() == 2 * result->height();
  if (isHalf && averaging == Averaging::Encoded) {
    for (int y = 0; y < result->height(); ++y)
      pixelKernels().halve(reinterpret_cast<const std::uint32_t*>(source->row(2 * y)),
                           reinterpret_cast<const std::uint32_t*>(source->row(2 * y + 1)),
                           result->colours(y), static_cast<std::size_t>(result->width()));
  } else {
    resample(*source, *result, averaging);
  }
  Image resampled = std::move(*result).finish(image.scale(), image.orientation());
  return image.format() == PixelFormat::Gray8 ? grayed(resampled) : resampled;
}

}  // namespace kelm::pixels
