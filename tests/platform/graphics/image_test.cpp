#include "kelm/platform/graphics/image.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "tests/platform/graphics/pictures.h"

namespace kelm::pixels {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Image, IsOfSizesThatMakeSenseOnly) {
  for (const double side : {0.0, 0.99, -1.0, -0.0, double{NAN}, kInfinity, 2147483648.0, 1e300}) {
    EXPECT_FALSE(PixelBuffer::make(side, 4)) << side;
    EXPECT_FALSE(PixelBuffer::make(4, side)) << side;
  }
  EXPECT_FALSE(PixelBuffer::make(32768, 16384));  // one byte more than there may be
  EXPECT_EQ(PixelBuffer::make(2.9, 1.5).value().width(), 2);
  EXPECT_EQ(PixelBuffer::make(5, 2, PixelFormat::Gray8).value().stride(), 8U);
}

TEST(Image, CropSharesThePixels) {
  const Image whole = randomPicture(20, 10);
  const Image part = whole.cropped({2.4, 1.5, 5, 3}).value();
  EXPECT_EQ(part.width(), 5);
  EXPECT_EQ(part.height(), 3);
  EXPECT_EQ(part.row(1), whole.row(3) + 8);
  EXPECT_EQ(part.scale(), 2);
  EXPECT_EQ(part.orientation(), Orientation::Left);
  EXPECT_EQ(part.cropped({1, 1, 1, 1}).value().pixel(0, 0), whole.pixel(3, 3));
}

TEST(Image, CropKeepsWithinThePicture) {
  const Image whole = randomPicture(20, 10);
  using Row = std::tuple<Rect, int, int>;  // 0: nothing is left
  for (const auto& [rect, width, height] :
       {Row{{-5, -5, 10, 10}, 5, 5}, Row{{20, 0, 5, 5}, 0, 0}, Row{{15, 8, 100, 100}, 5, 2},
        Row{{0, 0, 0.4, 5}, 0, 0}, Row{{5, 5, -3, -4}, 3, 4}, Row{{NAN, 0, 5, 5}, 0, 0},
        Row{{-kInfinity, 0, kInfinity, 5}, 0, 0}, Row{{0, 0, kInfinity, 1e300}, 20, 10},
        Row{{-1e300, 0, 1e299, 5}, 0, 0}}) {
    const auto part = whole.cropped(rect);
    EXPECT_EQ(part ? part->width() : 0, width) << rect.x;
    EXPECT_EQ(part ? part->height() : 0, height) << rect.x;
  }
}

TEST(Image, SizeIsThatOfTheUprightPicture) {
  const Image image = randomPicture(20, 10);
  EXPECT_EQ(image.size(), (Size{5, 10}));
  EXPECT_EQ(image.withOrientation(Orientation::DownMirrored).withScale(NAN).size(), (Size{20, 10}));
}

}  // namespace
}  // namespace kelm::pixels
