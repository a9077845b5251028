#include "kelm/platform/graphics/pixels/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "tests/platform/graphics/pictures.h"

namespace kelm::pixels {
namespace {

using Row = std::vector<std::uint32_t>;

Row randomRow(std::size_t count, unsigned seed) {
  std::mt19937 random(seed);
  Row row(count);
  for (std::uint32_t& pixel : row)
    pixel = randomPixel(random);
  return row;
}

int difference(const Row& one, const Row& other) {
  int most = 0;
  for (std::size_t i = 0; i < one.size(); ++i)
    for (unsigned k = 0; k < 4; ++k)
      most = std::max(most, std::abs(component(one[i], k) - component(other[i], k)));
  return most;
}

/// A row by a formula on components from 0 to 1: of the source, the backdrop and their alphas.
template <class Formula>
Row byFormula(const Row& below, const Row& above, Formula formula) {
  Row result(below.size());
  for (std::size_t i = 0; i < below.size(); ++i)
    for (unsigned k = 0; k < 4; ++k) {
      const auto part = [](std::uint32_t pixel, unsigned index) {
        return component(pixel, index) / 255.0;
      };
      const double value = formula(part(above[i], k), part(below[i], k), part(above[i], 3),
                                   part(below[i], 3), k == 3);
      result[i] |= static_cast<std::uint32_t>(std::lround(255 * value)) << 8 * k;
    }
  return result;
}

class Kernels : public testing::TestWithParam<const PixelKernels*> {
 protected:
  void SetUp() override {
    if (GetParam() == nullptr) GTEST_SKIP() << "not for this processor";
  }
  const PixelKernels& kernels() const { return *GetParam(); }
};

TEST_P(Kernels, BlendWithinOneOfTheFormulas) {
  for (const std::size_t count :
       {std::size_t{1}, std::size_t{7}, std::size_t{16}, std::size_t{4099}}) {
    const Row below = randomRow(count, 1);
    const Row above = randomRow(count, 2);
    Row result = below;
    kernels().over(result.data(), above.data(), count);
    EXPECT_LE(difference(result, byFormula(below, above,
                                           [](double s, double b, double sa, double, bool) {
                                             return s + b * (1 - sa);
                                           })),
              1);
    kernels().multiply(result.data(), above.data(), count, 0x80FF0040);
    EXPECT_LE(difference(result, byFormula(Row(count, 0x80FF0040), above,
                                           [](double s, double factor, double, double, bool) {
                                             return s * factor;
                                           })),
              1);
  }
}

TEST_P(Kernels, OverlayDarkensTheDarkAndLightensTheLight) {
  const Row below = randomRow(4099, 3);
  const Row above = randomRow(4099, 4);
  for (const std::uint32_t opacity : {0U, 10U, 200U, 255U}) {
    Row result = below;
    kernels().overlay(result.data(), above.data(), below.size(), opacity);
    const auto formula = [&](double s, double b, double sa, double ba, bool isAlpha) {
      s *= opacity / 255.0;
      sa *= opacity / 255.0;
      if (isAlpha) return sa + ba - sa * ba;
      const double blended = 2 * b <= ba ? 2 * s * b : sa * ba - 2 * (ba - b) * (sa - s);
      return blended + s * (1 - ba) + b * (1 - sa);
    };
    EXPECT_LE(difference(result, byFormula(below, above, formula)), opacity == 0 ? 0 : 2);
    for (std::size_t i = 0; i < result.size(); ++i)
      for (unsigned k = 0; k < 3; ++k)
        ASSERT_LE(component(result[i], k), component(result[i], 3)) << std::hex << result[i];
  }
}

TEST_P(Kernels, PremultiplyEveryByteAndBack) {
  std::vector<std::uint8_t> bytes;
  for (unsigned alpha = 0; alpha < 256; ++alpha)
    for (unsigned value = 0; value < 256; ++value)
      for (const unsigned byte : {value, 255 - value, value / 2, alpha})
        bytes.push_back(static_cast<std::uint8_t>(byte));
  Row pixels(65536);
  kernels().premultiply(bytes.data(), pixels.data(), pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const std::uint8_t* rgba = &bytes[4 * i];
    const Colour colour = {rgba[0] / 255.0, rgba[1] / 255.0, rgba[2] / 255.0, rgba[3] / 255.0};
    ASSERT_EQ(pixels[i], colour.premultiplied()) << i;
  }
  std::vector<std::uint8_t> back(bytes.size());
  Row again(pixels.size());
  kernels().unpremultiply(pixels.data(), back.data(), pixels.size());
  kernels().premultiply(back.data(), again.data(), pixels.size());
  EXPECT_EQ(again, pixels);
}

TEST_P(Kernels, TransposeEverySizeWithinItsBounds) {
  for (const auto& [width, height] : {std::pair{1, 1}, {8, 3}, {16, 16}, {37, 41}, {5, 64}}) {
    const Image image = randomPicture(width, height);
    const auto* from = reinterpret_cast<const std::uint32_t*>(image.pixels());
    const auto side = static_cast<std::size_t>(width);
    Row columns(side * static_cast<std::size_t>(height));
    // Upside down and from the last row on, as a quarter turn asks for it.
    kernels().transpose(from + (height - 1) * width, -width, columns.data() + (width - 1) * height,
                        -height, width, height);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        ASSERT_EQ(columns[static_cast<std::size_t>((width - 1 - x) * height + height - 1 - y)],
                  image.pixel(x, y));
  }
}

TEST_P(Kernels, AverageBoxesDownAColumn) {
  std::mt19937 random(5);
  constexpr int kLength = 300;
  std::vector<std::uint8_t> from(kLength * 40);
  for (std::uint8_t& byte : from)
    byte = static_cast<std::uint8_t>(random());
  for (const BoxPass& pass : {BoxPass{2, 0}, {4, 0.3}, {30, 0.99}, {127, 0.5}, {100, 0}}) {
    constexpr int kBegin = -20;
    constexpr int kEnd = kLength + 7;
    std::vector<std::uint8_t> to((kEnd - kBegin) * 32);
    kernels().boxColumn(from.data(), 40, kLength, to.data(), 32, kBegin, kEnd, pass);
    for (int y = kBegin; y < kEnd; ++y)
      for (int x = 0; x < 32; ++x) {
        const auto at = [&](int row) {
          return from[static_cast<std::size_t>(std::clamp(row, 0, kLength - 1) * 40 + x)];
        };
        double sum = pass.edge * (at(y - pass.radius - 1) + at(y + pass.radius + 1));
        for (int i = -pass.radius; i <= pass.radius; ++i)
          sum += at(y + i);
        ASSERT_NEAR(to[static_cast<std::size_t>((y - kBegin) * 32 + x)],
                    sum / (2 * (pass.radius + pass.edge) + 1), 1)
            << pass.radius << " " << y << " " << x;
      }
  }
}

TEST_P(Kernels, GiveWhatThePortableOnesGive) {
  const PixelKernels& portable = portablePixelKernels();
  const Row upper = randomRow(1030, 6);
  const Row lower = randomRow(1030, 7);
  Row one(515);
  Row other(515);
  kernels().halve(upper.data(), lower.data(), one.data(), one.size());
  portable.halve(upper.data(), lower.data(), other.data(), other.size());
  EXPECT_EQ(one, other);
  EXPECT_EQ(component(one[0], 3), (component(upper[0], 3) + component(upper[1], 3) +
                                   component(lower[0], 3) + component(lower[1], 3) + 2) /
                                      4);
  Row reversed(upper.size());
  kernels().reverse(upper.data(), reversed.data(), upper.size());
  EXPECT_TRUE(std::equal(upper.rbegin(), upper.rend(), reversed.begin()));
}

INSTANTIATE_TEST_SUITE_P(Of, Kernels, testing::Values(&portablePixelKernels(), avx2PixelKernels()),
                         [](const auto& row) {
                           return row.index == 0 ? "EveryProcessor" : "Avx2";
                         });

}  // namespace
}  // namespace kelm::pixels
