#include "kelm/platform/graphics/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <tuple>

#include "kelm/platform/graphics/colour.h"

namespace kelm {
namespace {

TEST(Geometry, RectanglesMeetJoinAndShrink) {
  const Rect square = {0, 0, 10, 10};
  using Row = std::tuple<Rect, Rect, Rect>;  // other, intersection, union
  for (const auto& [other, common, around] :
       {Row{{5, 6, 10, 10}, {5, 6, 5, 4}, {0, 0, 15, 16}},
        Row{{15, 16, -10, -10}, {5, 6, 5, 4}, {0, 0, 15, 16}},
        Row{{10, 0, 5, 5}, {}, {0, 0, 15, 10}}, Row{{50, 50, 0, 5}, {}, square},
        Row{{NAN, 0, 5, 5}, {}, square}}) {
    EXPECT_EQ(square.intersection(other), common);
    EXPECT_EQ(square.united(other), around);
  }
  EXPECT_EQ(square.insetBy({1, 2, 3, 4}), (Rect{2, 1, 4, 6}));
  EXPECT_EQ(square.insetBy({5, 0, 5, 0}), Rect{});
  EXPECT_TRUE((Rect{2, 2, -2, -2}.contains({0, 0})));
  EXPECT_FALSE((Rect{0, 0, 2, 2}.contains({2, 1})));
}

TEST(Geometry, TransformsFollowEachOtherAndAreUndone) {
  const AffineTransform turn = AffineTransform::rotation(std::numbers::pi / 2);
  const AffineTransform both = turn.then(AffineTransform::translation(10, 20));
  const Point moved = both.apply(Point{3, 0});
  EXPECT_NEAR(moved.x, 10, 1e-12);
  EXPECT_NEAR(moved.y, 23, 1e-12);  // clockwise, with y downwards
  const Point back = both.inverted().apply(moved);
  EXPECT_NEAR(back.x, 3, 1e-12);
  EXPECT_NEAR(back.y, 0, 1e-12);
  EXPECT_EQ(AffineTransform::scaling(-2, 3).apply(Rect{1, 1, 2, 2}), (Rect{-6, 3, 4, 6}));
  EXPECT_TRUE(AffineTransform::scaling(0, 1).inverted().isIdentity());
}

TEST(Geometry, ColoursBecomePixelsTimesTheirAlpha) {
  EXPECT_EQ((Colour{1, 0.5, 0, 0.5}.premultiplied()), 0x80804000U);
  EXPECT_EQ((Colour{7, -1, NAN, 1}.premultiplied()), 0xFFFF0000U);
  EXPECT_EQ(Colour::rgb(0x123456).premultiplied(), 0xFF123456U);
  EXPECT_EQ(Colour::white().withAlpha(INFINITY).premultiplied(), 0xFFFFFFFFU);
}

}  // namespace
}  // namespace kelm
