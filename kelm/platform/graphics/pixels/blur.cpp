#include "kelm/platform/graphics/pixels/blur.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/kernels.h"
#include "kelm/platform/graphics/pixels/resize.h"

namespace kelm::pixels {
namespace {

constexpr double kMostByWeights = 3;    // deviations up to this by the Gaussian itself
constexpr double kMostByAverages = 64;  // up to this by averages, whose sums fit 16 bits
constexpr double kMost = 65536;

double varianceOfBox(int radius) { return radius * (radius + 1.0) / 3; }

/// Three boxes whose variances add up to that of the Gaussian: some of the next larger size, and
/// one in between, which takes a part of the pixels beyond its ends.
std::array<BoxPass, 3> boxesFor(double deviation) {
  const double wanted = deviation * deviation;
  const auto radius = static_cast<int>((std::sqrt(4 * wanted + 1) - 1) / 2);
  const double step = varianceOfBox(radius + 1) - varianceOfBox(radius);
  double larger = (wanted - 3 * varianceOfBox(radius)) / step;
  std::array<BoxPass, 3> passes;
  for (BoxPass& pass : passes) {
    pass.radius = larger >= 1 ? radius + 1 : radius;
    if (larger > 0 && larger < 1) {
      // The edge that gives this variance: solved from (sum of squares + 2 edge (radius + 1)^2) =
      // variance (2 radius + 1 + 2 edge).
      const double variance = varianceOfBox(radius) + larger * step;
      const double pixels = 2 * radius + 1;
      const double beyond = (radius + 1.0) * (radius + 1.0);
      pass.edge = pixels * (variance - varianceOfBox(radius)) / (2 * (beyond - variance));
    }
    larger -= 1;
  }
  return passes;
}

constexpr int kColumn = 8;  // pixels that a kernel averages side by side
constexpr std::size_t kColumnBytes = 32;
constexpr int kStrip = 32;  // pixels of a row that are copied at once: two cache lines
// Not a power of two, so that the rows of a strip spread over the whole cache.
constexpr std::size_t kStripBytes = kStrip * 4 + 32;

using Buffer = std::unique_ptr<std::uint8_t[]>;

Buffer bufferOf(std::size_t bytes) { return Buffer(new (std::nothrow) std::uint8_t[bytes]()); }

class BoxBlur {
 public:
  BoxBlur(const Image& image, PixelBuffer& result, double deviation)
      : image_(image),
        result_(result),
        passes_(boxesFor(deviation)),
        one_(bufferOf(longest() * kColumnBytes)),
        other_(bufferOf(longest() * kColumnBytes)),
        strip_(bufferOf(static_cast<std::size_t>(image.height()) * kStripBytes)),
        rows_(bufferOf(static_cast<std::size_t>(image.width()) * kColumnBytes)) {}

  bool run() {
    if (!one_ || !other_ || !strip_ || !rows_) return false;
    for (int x = 0; x < image_.width(); x += kStrip)
      blurStrip(x);
    for (int y = 0; y < image_.height(); y += kColumn)
      blurRows(y);
    return true;
  }

 private:
  std::size_t longest() const {
    return static_cast<std::size_t>(std::max(image_.width(), image_.height()) +
                                    2 * (passes_[1].radius + passes_[2].radius + 2));
  }

  /// All three passes, between `one_` and `other_`. The first ones go on beyond the ends as far as
  /// the later ones look: extending what is blurred already would blur too little there.
  void blurColumn(const std::uint8_t* from, std::size_t fromStride, int length, std::uint8_t* to,
                  std::size_t toStride) {
    const int reach = passes_[2].radius + 1;
    const int farReach = reach + passes_[1].radius + 1;
    kernels_.boxColumn(from, fromStride, length, one_.get(), kColumnBytes, -farReach,
                       length + farReach, passes_[0]);
    kernels_.boxColumn(one_.get(), kColumnBytes, length + 2 * farReach, other_.get(), kColumnBytes,
                       farReach - reach, length + farReach + reach, passes_[1]);
    kernels_.boxColumn(other_.get(), kColumnBytes, length + 2 * reach, to, toStride, reach,
                       length + reach, passes_[2]);
  }

  /// Downwards, from the picture to the result.
  void blurStrip(int x) {
    const int height = image_.height();
    const int columns = std::min(kStrip, image_.width() - x);
    const std::size_t offset = static_cast<std::size_t>(x) * 4;
    const std::size_t bytes = static_cast<std::size_t>(columns) * 4;
    for (int y = 0; y < height; ++y)
      std::memcpy(strip_.get() + static_cast<std::size_t>(y) * kStripBytes, image_.row(y) + offset,
                  bytes);
    for (std::size_t at = 0; at < bytes; at += kColumnBytes) {
      std::uint8_t* column = strip_.get() + at;
      blurColumn(column, kStripBytes, height, column, kStripBytes);
    }
    for (int y = 0; y < height; ++y)
      std::memcpy(result_.row(y) + offset, strip_.get() + static_cast<std::size_t>(y) * kStripBytes,
                  bytes);
  }

  /// Eight rows of the result as a column, and back.
  void blurRows(int y) {
    const int width = image_.width();
    const int rows = std::min(kColumn, image_.height() - y);
    const auto stride = static_cast<std::ptrdiff_t>(result_.stride() / 4);
    auto* column = reinterpret_cast<std::uint32_t*>(rows_.get());
    kernels_.transpose(result_.colours(y), stride, column, kColumn, width, rows);
    blurColumn(rows_.get(), kColumnBytes, width, rows_.get(), kColumnBytes);
    kernels_.transpose(column, kColumn, result_.colours(y), stride, rows, width);
  }

  const Image& image_;
  PixelBuffer& result_;
  const std::array<BoxPass, 3> passes_;
  const PixelKernels& kernels_ = pixelKernels();
  const Buffer one_;
  const Buffer other_;
  const Buffer strip_;  ///< a few columns of the picture
  const Buffer rows_;   ///< a few rows of it, as columns
};

/// Each pixel as the weighted sum of those around it, for small deviations.
void blurByWeights(const Image& image, PixelBuffer& result, double deviation) {
  const PixelKernels& kernels = pixelKernels();
  const int radius = static_cast<int>(std::ceil(4 * deviation));
  std::vector<float> weights;
  double sum = 0;
  for (int i = -radius; i <= radius; ++i)
    sum += std::exp(-0.5 * i * i / (deviation * deviation));
  for (int i = -radius; i <= radius; ++i)
    weights.push_back(static_cast<float>(std::exp(-0.5 * i * i / (deviation * deviation)) / sum));
  const std::size_t count = static_cast<std::size_t>(image.width()) * 4;
  const std::size_t margin = static_cast<std::size_t>(radius) * 4;
  std::vector<float> column(count + 2 * margin);
  std::vector<float> row(count);
  float* const sums = column.data() + margin;
  for (int y = 0; y < image.height(); ++y) {
    std::fill_n(sums, count, 0.0F);
    for (int i = -radius; i <= radius; ++i)
      kernels.addWeighted(sums, image.row(std::clamp(y + i, 0, image.height() - 1)), count,
                          weights[static_cast<std::size_t>(i + radius)]);
    for (std::size_t i = 0; i < margin; ++i) {
      column[i] = sums[i % 4];
      sums[count + i] = sums[count - 4 + i % 4];
    }
    kernels.convolve(column.data(), weights.data(), 2 * radius + 1, 4, row.data(), count);
    kernels.roundToBytes(row.data(), result.row(y), count);
  }
}

std::optional<Image> blurredColours(const Image& image, double deviation) {
  if (deviation > kMostByAverages) {
    // Half the size shows as much of what remains. Halving and enlarging blur by about one pixel.
    const auto half = resized(image, (image.width() + 1) / 2, (image.height() + 1) / 2);
    const double rest = std::sqrt(deviation * deviation - 1) / 2;
    const auto small = half ? blurredColours(*half, rest) : std::nullopt;
    return small ? resized(*small, image.width(), image.height()) : std::nullopt;
  }
  auto result = PixelBuffer::make(image.width(), image.height());
  if (!result) return std::nullopt;
  if (deviation <= kMostByWeights)
    blurByWeights(image, *result, deviation);
  else if (!BoxBlur(image, *result, deviation).run())
    return std::nullopt;
  return std::move(*result).finish(image.scale(), image.orientation());
}

}  // namespace

std::optional<Image> blurred(const Image& image, double deviation) {
  if (!(deviation > 0)) return image;
  const auto colours = coloured(image);
  auto result = colours ? blurredColours(*colours, std::min(deviation, kMost)) : std::nullopt;
  if (result && image.format() == PixelFormat::Gray8) return grayed(*result);
  return result;
}

}  // namespace kelm::pixels
