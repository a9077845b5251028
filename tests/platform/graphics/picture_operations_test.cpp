#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <tuple>
#include <vector>

#include "kelm/platform/graphics/pixels/blur.h"
#include "kelm/platform/graphics/pixels/compose.h"
#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/resize.h"
#include "kelm/platform/graphics/pixels/turn.h"
#include "tests/platform/graphics/pictures.h"

namespace kelm::pixels {
namespace {

/// By the definition, in doubles.
Image gaussian(const Image& image, double deviation) {
  const int radius = static_cast<int>(std::ceil(5 * deviation));
  std::vector<double> weights;
  for (int i = -radius; i <= radius; ++i)
    weights.push_back(std::exp(-0.5 * i * i / (deviation * deviation)));
  const int width = image.width();
  const int height = image.height();
  std::vector<double> sums(static_cast<std::size_t>(width * height) * 4);
  const auto blurRow = [&](auto value, int x, int last) {
    double sum = 0;
    double all = 0;
    for (int i = -radius; i <= radius; ++i) {
      const double weight = weights[static_cast<std::size_t>(i + radius)];
      sum += weight * value(std::clamp(x + i, 0, last));
      all += weight;
    }
    return sum / all;
  };
  PixelBuffer result = PixelBuffer::make(width, height).value();
  result.fill(0U);
  for (unsigned k = 0; k < 4; ++k) {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        sums[static_cast<std::size_t>(y * width + x)] =
            blurRow([&](int at) { return component(image.pixel(at, y), k); }, x, width - 1);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        result.colours(y)[x] |=
            static_cast<std::uint32_t>(std::lround(
                blurRow([&](int at) { return sums[static_cast<std::size_t>(at * width + x)]; }, y,
                        height - 1)))
            << 8 * k;
  }
  return std::move(result).finish();
}

TEST(Blur, IsAGaussianForEveryDeviation) {
  const Image image = photo(67, 45);
  for (const double deviation : {0.5, 1.7, 3.1, 5.0, 20.0, 60.0, 90.0})
    EXPECT_GE(decibels(blurred(image, deviation).value(), gaussian(image, deviation)), 46)
        << deviation;
}

TEST(Blur, LeavesWhatIsEvenAndWhatIsNotToBeBlurred) {
  PixelBuffer even = PixelBuffer::make(3, 50).value();
  even.fill(0x80402010U);
  const Image image = std::move(even).finish(3, Orientation::Right);
  for (const double deviation : {0.1, 2.0, 9.0, 300.0, 1e300, double{INFINITY}})
    EXPECT_EQ(blurred(image, deviation), image) << deviation;
  const Image random = randomPicture(9, 9);
  for (const double deviation : {0.0, -5.0, double{NAN}})
    EXPECT_EQ(blurred(random, deviation), random);
  EXPECT_EQ(blurred(maskOf(random).value(), 2)->format(), PixelFormat::Gray8);
}

TEST(Resize, AveragesAreasAndGoesThroughThePointsOfACubic) {
  const Image step = pictureOf(4, {0xFF000000, 0xFF000000, 0xFFFFFFFF, 0xFFFFFFFF});
  EXPECT_EQ(resized(step, 1, 1)->pixel(0, 0), 0xFF808080);
  const Image thirds = resized(pictureOf(3, {0xFF000000, 0xFFFFFFFF, 0xFF000000}), 2, 1).value();
  EXPECT_EQ(thirds.pixel(0, 0), 0xFF555555);
  const Image larger = resized(step, 8, 1).value();
  EXPECT_EQ(larger.pixel(0, 0), 0xFF000000);
  EXPECT_EQ(larger.pixel(7, 0), 0xFFFFFFFF);
  EXPECT_EQ(component(larger.pixel(3, 0), 0) + component(larger.pixel(4, 0), 0), 255);
  EXPECT_LT(component(larger.pixel(3, 0), 0), 64);  // steeper than a straight line
  // Half black and half white emit half the light of white.
  EXPECT_EQ(resized(step, 1, 1, Averaging::LinearLight)->pixel(0, 0), 0xFFBCBCBC);
}

TEST(Resize, KeepsComponentsWithinAlpha) {
  const Image image = randomPicture(31, 17);
  for (const auto& [width, height] : {std::pair{77, 60}, {15, 40}, {1, 1}, {62, 8}})
    for (const Averaging averaging : {Averaging::Encoded, Averaging::LinearLight}) {
      const Image other = resized(image, width, height, averaging).value();
      EXPECT_EQ(other.scale(), 2);
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
          for (unsigned k = 0; k < 3; ++k)
            ASSERT_LE(component(other.pixel(x, y), k), component(other.pixel(x, y), 3));
    }
  for (const double side : {0.0, -3.0, double{NAN}, 1e9})
    EXPECT_FALSE(resized(image, side, 5));
}

TEST(Turn, MovesEveryPixelToItsPlace) {
  const int width = 37;
  const int height = 18;
  const Image image = randomPicture(width, height);
  using Place = Point (*)(int, int, int, int);
  using Row = std::tuple<Orientation, AffineTransform, Place>;
  for (const auto& [turn, transform,
                    place] : {Row{Orientation::Up,
                                  {},
                                  [](int x, int y, int, int) {
                                    return Point{x * 1.0, y * 1.0};
                                  }},
                              Row{Orientation::Down, AffineTransform::scaling(-1, -1),
                                  [](int x, int y, int w, int h) {
                                    return Point{w - 1.0 - x, h - 1.0 - y};
                                  }},
                              Row{Orientation::Left,
                                  AffineTransform::rotation(-std::numbers::pi / 2),
                                  [](int x, int y, int w, int) {
                                    return Point{y * 1.0, w - 1.0 - x};
                                  }},
                              Row{Orientation::Right,
                                  AffineTransform::rotation(std::numbers::pi / 2),
                                  [](int x, int y, int, int h) {
                                    return Point{h - 1.0 - y, x * 1.0};
                                  }},
                              Row{Orientation::UpMirrored, AffineTransform::scaling(-1, 1),
                                  [](int x, int y, int w, int) {
                                    return Point{w - 1.0 - x, y * 1.0};
                                  }},
                              Row{Orientation::DownMirrored, AffineTransform::scaling(1, -1),
                                  [](int x, int y, int, int h) {
                                    return Point{x * 1.0, h - 1.0 - y};
                                  }},
                              Row{Orientation::LeftMirrored,
                                  {0, 1, 1, 0, 5, 5},
                                  [](int x, int y, int, int) {
                                    return Point{y * 1.0, x * 1.0};
                                  }},
                              Row{Orientation::RightMirrored,
                                  {0, -1, -1, 0, 0, 0},
                                  [](int x, int y, int w, int h) {
                                    return Point{h - 1.0 - y, w - 1.0 - x};
                                  }}}) {
    const Image result = turned(image, turn).value();
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const Point to = place(x, y, width, height);
        ASSERT_EQ(result.pixel(static_cast<int>(to.x), static_cast<int>(to.y)), image.pixel(x, y))
            << static_cast<int>(turn);
      }
    EXPECT_EQ(transformed(image, transform), result.withOrientation(Orientation::Up));
  }
}

TEST(Turn, HoldsWhatWasTurnedByAnyAngle) {
  PixelBuffer buffer = PixelBuffer::make(40, 20).value();
  buffer.fill(0xFF0000FFU);
  const Image blue = std::move(buffer).finish(2);
  const Image turned = transformed(blue, AffineTransform::rotation(std::numbers::pi / 6)).value();
  EXPECT_EQ(turned.width(), 45);   // 40 cos + 20 sin = 44.6
  EXPECT_EQ(turned.height(), 38);  // 40 sin + 20 cos = 37.3
  EXPECT_EQ(turned.pixel(22, 19), 0xFF0000FFU);
  EXPECT_EQ(turned.pixel(0, 37), 0U);
  double area = 0;
  for (int y = 0; y < turned.height(); ++y)
    for (int x = 0; x < turned.width(); ++x)
      area += component(turned.pixel(x, y), 3) / 255.0;
  EXPECT_NEAR(area, 800, 4);
  const Image small = transformed(blue, AffineTransform::scaling(0.1, 0.25)).value();
  EXPECT_EQ(small.width(), 4);
  EXPECT_EQ(small.height(), 5);
  for (const AffineTransform& none :
       {AffineTransform::scaling(0, 1), AffineTransform{NAN, 0, 0, 1, 0, 0},
        AffineTransform::scaling(1e9, 1), AffineTransform{INFINITY, 0, 0, 1, 0, 0}})
    EXPECT_FALSE(transformed(blue, none));
}

TEST(Compose, RoundedMaskCoversTheAreaOfItsShape) {
  const auto area = [](const Image& mask) {
    double sum = 0;
    for (int y = 0; y < mask.height(); ++y)
      for (int x = 0; x < mask.width(); ++x)
        sum += mask.row(y)[x] / 255.0;
    return sum;
  };
  const double corner = 1 - std::numbers::pi / 4;  // that a corner of radius 1 leaves out
  using Row = std::tuple<CornerRadii, double>;
  for (const auto& [radii, out] :
       {Row{CornerRadii(), 0}, Row{CornerRadii::all(20), 4 * 400 * corner},
        Row{CornerRadii{10, 0, 0, 0}, 100 * corner},
        Row{CornerRadii{0, 7.5, 0, 3}, (56.25 + 9) * corner},
        Row{CornerRadii::all(1e9), 4 * 400 * corner},
        Row{CornerRadii{-5, NAN, 60, 0}, 1600 * corner}})
    EXPECT_NEAR(area(roundedMask(60, 40, radii).value()), 2400 - out, 1) << out;
  EXPECT_EQ((CornerRadii{30, 10, 30, 10}.fitting(20, 200)), (CornerRadii{15, 5, 15, 5}));
  EXPECT_EQ(roundedMask(60, 40, {0, 20, 0, 0})->row(0)[0], 255);
  EXPECT_EQ(roundedMask(60, 40, {0, 20, 0, 0})->row(0)[59], 0);
  EXPECT_FALSE(roundedMask(NAN, 40, {}));
}

TEST(Compose, DrawsOverWithinTheBounds) {
  PixelBuffer below = PixelBuffer::make(3, 2).value();
  below.fill(0xFF000000U);
  const Image dot = pictureOf(2, {0xFFFF0000, 0x80008000, 0x00000000, 0xFF0000FF});
  drawOver(below, dot, -1, 0);
  drawOver(below, dot, 2, 1);
  drawOver(below, dot, 3, 0);
  drawOver(below, dot, 0, -2);
  EXPECT_EQ(std::move(below).finish(),
            pictureOf(3, {0xFF008000, 0xFF000000, 0xFF000000, 0xFF0000FF, 0xFF000000, 0xFFFF0000}));
}

TEST(Compose, MasksByTonesOrAlpha) {
  const Image image = pictureOf(3, {0xFFFFFFFF, 0x80808080, 0xFFFF0000});
  const Image mask = pictureOf(2, {0xFF000000, 0x80000000});
  EXPECT_EQ(masked(image, mask), pictureOf(3, {0xFFFFFFFF, 0x40404040, 0}));
  EXPECT_EQ(masked(image, maskOf(mask).value()), masked(image, mask));
  EXPECT_EQ(grayed(image)->row(0)[2], 76);
}

}  // namespace
}  // namespace kelm::pixels
