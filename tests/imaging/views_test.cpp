#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <tuple>
#include <vector>

#include "kelm/imaging/vasp_image_utils.h"
#include "kelm/imaging/vasp_image_with_frame.h"
#include "kelm/imaging/vasp_noise_effect_layer.h"
#include "kelm/platform/graphics/canvas.h"
#include "tests/imaging/imaging_fixture.h"

namespace kelm {
namespace {

using Utils = VaspImageUtils;
using pixels::component;
using pixels::pictureOf;

constexpr std::uint32_t kRed = 0xFFFF0000;
constexpr std::uint32_t kBlue = 0xFF0000FF;

class Views : public OnScreen {
 protected:
  static Image picture(const std::shared_ptr<View>& view) {
    return Utils::imageWithView(view).value();
  }
  /// A view of that colour.
  static std::shared_ptr<View> coloured(const Rect& frame, const Colour& colour) {
    auto view = std::make_shared<View>(frame);
    view->setBackgroundColour(colour);
    return view;
  }
};

TEST_F(Views, CircleKeepsTheSmallerOfDiameterAndZero) {
  using Row = std::tuple<std::int32_t, double, double>;
  for (const auto& [diameter, side, radius] :
       {Row{40, 0, 20}, Row{41, 0, 20}, Row{1, 0, 0}, Row{0, 0, 0}, Row{-7, -7, 0}}) {
    const auto view = Utils::circleViewWithDiameter(diameter);
    EXPECT_EQ(view->frame(), (Rect{0, 0, side, side}));
    EXPECT_EQ(view->layer()->cornerRadius, radius);
    EXPECT_TRUE(view->clipsToBounds());
    EXPECT_EQ(view->backgroundColour(), Colour::clear());
  }
}

TEST_F(Views, PlainOnesAreClearAndNotOpaque) {
  EXPECT_EQ(Utils::emptyView()->frame(), (Rect{0, 0, 1, 1}));
  EXPECT_FALSE(Utils::emptyView()->isOpaque());
  const auto line = Utils::lineWithSize_andColor({5, 1}, std::nullopt);
  EXPECT_EQ(line->backgroundColour(), Colour::clear());
  EXPECT_FALSE(line->isOpaque());
  const Image image = Utils::emptyImage().value();
  EXPECT_EQ(image, pictureOf(2, {0, 0, 0, 0}).withScale(2));
}

TEST_F(Views, RoundedMaskThatStaysIsStretchedOverTheBounds) {
  const auto view = coloured({50, 50, 20, 10}, Colour::rgb(0xFF0000));
  view->layer()->contentsGravity = ContentsGravity::TopLeft;
  EXPECT_EQ(Utils::applyRoundedMaskRadiustl_radiustr_radiusbl_radiusbr_forView(5, 0, 0, 0, view),
            view);
  EXPECT_TRUE(view->clipsToBounds());
  EXPECT_EQ(view->layer()->mask->contentsGravity, ContentsGravity::Resize);
  EXPECT_EQ(view->layer()->mask->frame(), view->bounds());
  const Image image = picture(view);
  EXPECT_EQ(image.pixel(0, 0), 0U);
  EXPECT_EQ(image.pixel(39, 0), kRed);
  EXPECT_EQ(image.pixel(20, 10), kRed);
}

TEST_F(Views, TriangleKeepsAnAbsentColourAndAsksForARedrawByOneSetter) {
  const auto view = Utils::getTriangleWithSize_andColor_andRotation({20, 10}, std::nullopt, 90);
  EXPECT_FALSE(view->tringleColor());
  EXPECT_EQ(view->transform(), AffineTransform::rotation(90 * 0.017453292519943295));
  view->setTringleColor(Colour::rgb(0x0000FF));
  EXPECT_FALSE(view->needsDisplay());
  view->setTriangleColor(Colour::rgb(0xFF0000));
  EXPECT_TRUE(view->needsDisplay());
  const Image image = picture(view);
  EXPECT_FALSE(view->needsDisplay());
  EXPECT_EQ(image.pixel(20, 10), kRed);
  EXPECT_EQ(image.pixel(2, 2), 0U);
  EXPECT_EQ(image.pixel(37, 2), 0U);
  EXPECT_EQ(image.pixel(36, 19), kRed);
}

TEST_F(Views, GradientsRunAsTheirDirectionSays) {
  using Row = std::tuple<std::int32_t, Point, Point>;
  for (const auto& [direction, start, end] :
       {Row{1, {0.5, 0}, {0.5, 1}}, Row{2, {0.5, 1}, {0.5, 0}}, Row{3, {0.5, 0}, {0.5, 1}},
        Row{4, {0, 0.5}, {1, 0.5}}, Row{-1, {0.5, 0}, {0.5, 1}}}) {
    const auto view = Utils::gradientViewWithFrame_UIColorArray_locationsArray_direction(
        {0, 0, 8, 8}, {Colour::rgb(0xFF0000), Colour::rgb(0x0000FF)}, std::nullopt, direction);
    const auto layer = std::dynamic_pointer_cast<GradientLayer>(view->layer()->sublayers.at(0));
    EXPECT_EQ(layer->startPoint, start) << direction;
    EXPECT_EQ(layer->endPoint, end) << direction;
    EXPECT_FALSE(layer->locations);
    const Image image = picture(view);
    const auto blueAt = [&](Point part) {
      return component(image.pixel(static_cast<int>(part.x * 15), static_cast<int>(part.y * 15)),
                       0);
    };
    EXPECT_LT(blueAt(start), 20) << direction;
    EXPECT_GT(blueAt(end), 235) << direction;
  }
}

TEST_F(Views, VerticalGradientGoesBelowEverythingElse) {
  const auto view = std::make_shared<View>(Rect{0, 0, 4, 40});
  view->layer()->sublayers.push_back(std::make_shared<Layer>());
  Utils::applyVerticalGradientToView_UIColorArray(view, std::nullopt);
  Utils::applyVerticalGradientToView_UIColorArray(view, std::vector<Colour>());
  Utils::applyVerticalGradientToView_UIColorArray(nullptr, std::vector{Colour::white()});
  EXPECT_EQ(view->layer()->sublayers.size(), 1U);
  Utils::applyVerticalGradientToView_UIColorArray(view,
                                                  std::vector{Colour::white(), Colour::black()});
  const auto layer = std::dynamic_pointer_cast<GradientLayer>(view->layer()->sublayers.at(0));
  ASSERT_TRUE(layer);
  EXPECT_EQ(layer->startPoint, (Point{0.5, 1}));
  EXPECT_EQ(layer->endPoint, (Point{0.5, 0}));
  EXPECT_EQ(layer->frame(), view->bounds());
}

TEST_F(Views, GradientCopyTakesTheFirstGradientAndNothingElse) {
  const auto source = std::make_shared<View>(Rect{1, 2, 8, 8});
  EXPECT_EQ(InnerGradientView::initWithGradientView(source), nullptr);
  EXPECT_EQ(InnerGradientView::initWithGradientView(nullptr), nullptr);
  const auto gradient = std::make_shared<GradientLayer>();
  gradient->colours = {Colour::white()};
  gradient->locations = std::vector{0.25};
  gradient->startPoint = {0.1, 0.2};
  source->layer()->sublayers = {std::make_shared<Layer>(), gradient,
                                std::make_shared<GradientLayer>()};
  source->subviews.push_back(Utils::emptyView());
  const auto copy = InnerGradientView::initWithGradientView(source)->copyWithZone();
  EXPECT_EQ(copy->frame(), source->frame());
  EXPECT_TRUE(copy->subviews.empty());
  ASSERT_EQ(copy->layer()->sublayers.size(), 1U);
  const auto layer = std::dynamic_pointer_cast<GradientLayer>(copy->layer()->sublayers.at(0));
  EXPECT_NE(layer, gradient);
  EXPECT_EQ(layer->colours, gradient->colours);
  EXPECT_EQ(layer->locations, gradient->locations);
  EXPECT_EQ(layer->startPoint, gradient->startPoint);
  const auto own = std::make_shared<View>(Rect{0, 0, 2, 2}, gradient);
  EXPECT_NE(InnerGradientView::initWithGradientView(own), nullptr);
}

TEST_F(Views, NoiseIsTheSameForEver) {
  using Noise = VaspNoiseEffectLayer;
  const Image tile = Noise::newCGGenerateNoiseImageWithSize_andFactor({75, 75}, 1.7).value();
  const std::vector<int> first = {132, 221, 86,  158, 253, 239, 217, 255,
                                  45,  122, 238, 20,  255, 115, 45,  141};
  EXPECT_EQ(std::vector<int>(tile.row(0), tile.row(0) + 16), first);
  int full = 0;
  for (int y = 0; y < 75; ++y)
    full += static_cast<int>(std::count(tile.row(y), tile.row(y) + 75, 255));
  EXPECT_EQ(full, 2277);
  EXPECT_EQ(Noise::newCGGenerateNoiseImageWithSize_andFactor({-75.9, 75}, 1.7), tile);
  EXPECT_EQ(Noise::newCGGenerateNoiseImageWithSize_andFactor({2, 2}, NAN)->row(1)[1], 0);
  EXPECT_EQ(Noise::newCGGenerateNoiseImageWithSize_andFactor({2, 2}, -1e300)->row(0)[0], 0);
  EXPECT_EQ(Noise::newCGGenerateNoiseImageWithSize_andFactor({2, 2}, 1e300)->row(0)[0], 255);
  EXPECT_FALSE(Noise::newCGGenerateNoiseImageWithSize_andFactor({0, 75}, 1));
  EXPECT_FALSE(Noise::newCGGenerateNoiseImageWithSize_andFactor({1e9, NAN}, 1));
}

TEST_F(Views, NoiseOverlaysWithinTheRoundedBounds) {
  const auto view = coloured({0, 0, 40, 40}, Colour::rgb(0x4C80CC));
  const auto noise = VaspNoiseEffectLayer::initWithPattern(Null());
  EXPECT_EQ(noise->noiseOpacity(), 0.03999999910593033);
  EXPECT_EQ(noise->contentsScale, 2);
  noise->cornerRadius = 10;
  noise->setFrame(view->bounds());
  EXPECT_TRUE(noise->needsDisplay());
  view->layer()->sublayers.push_back(noise);
  const Image grained = picture(view);
  EXPECT_EQ(grained.pixel(0, 0), 0xFF4C80CCU);
  EXPECT_NE(grained, picture(coloured({0, 0, 40, 40}, Colour::rgb(0x4C80CC))));
  noise->setNoiseOpacity(0);
  EXPECT_EQ(picture(view), picture(coloured({0, 0, 40, 40}, Colour::rgb(0x4C80CC))));
}

TEST_F(Views, PatternIsTiledUprightAtFullOpacity) {
  const auto view = std::make_shared<View>(Rect{0, 0, 2, 2});
  const auto noise =
      VaspNoiseEffectLayer::initWithPattern(pictureOf(1, {kRed, kBlue, kRed}).withScale(2));
  EXPECT_EQ(noise->noiseOpacity(), 1);
  noise->setFrame(view->bounds());
  view->layer()->sublayers.push_back(noise);
  const Image image = picture(view);  // over nothing, the tile itself
  EXPECT_EQ(image.pixel(0, 0), kRed);
  EXPECT_EQ(image.pixel(3, 1), kBlue);
  EXPECT_EQ(image.pixel(1, 2), kRed);
  EXPECT_EQ(image.pixel(1, 3), kRed);
}

TEST_F(Views, AreDrawnBackToFrontWithMasksAndOpacity) {
  const auto view = coloured({10, 10, 4, 2}, Colour::white());
  const auto upper = coloured({1, 0, 2, 1}, Colour::rgb(0xFF0000));
  upper->layer()->opacity = 0.5;
  view->subviews = {coloured({0, 0, 2, 1}, Colour::rgb(0x0000FF)), upper, nullptr};
  const auto sublayer = std::make_shared<Layer>();
  sublayer->setFrame({0, 0, 1, 1});
  sublayer->backgroundColour = Colour::rgb(0x00FF00);
  upper->layer()->sublayers.push_back(sublayer);
  const Image image = picture(view);
  EXPECT_EQ(image.pixel(0, 0), kBlue);
  EXPECT_EQ(image.pixel(2, 0), 0xFF00807FU);  // green, half, over blue
  EXPECT_EQ(image.pixel(5, 0), 0xFFFF7F7FU);
  EXPECT_EQ(image.pixel(7, 3), 0xFFFFFFFFU);
  EXPECT_EQ(Utils::getScreenShotOfVIew_cropRect(view, {0, 0, 1, 1})->pixel(1, 1), kBlue);
  EXPECT_EQ(Utils::getScreenShotOfVIew_fromVRam(view, true), Utils::getScreenShotOfVIew(view));
}

TEST(Canvas, TakesAnyNumberAndUnbalancedCalls) {
  const double wild[] = {NAN, INFINITY, -INFINITY, 1e300, -1e12, 1e-300, 0, 3};
  const auto image =
      platform::current<platform::Canvas>()->draw({4, 4}, 1, [&](DrawingContext& context) {
        context.restore();
        context.endLayer();
        context.beginMask();
        for (const double one : wild)
          for (const double other : wild) {
            const Rect rect = {one, other, other, one};
            context.save();
            context.concatenate({one, other, one, 1, other, one});
            context.clipToRoundedRect(rect, {one, other, 1, 1});
            context.fillRect(rect, Colour{one, other, one, other});
            context.restore();
            context.beginLayer();
            context.setAlpha(one);
            context.fillPolygon(std::vector{Point{one, other}, Point{1, 1}, Point{other, one}}, {});
            context.fillGradient({{Colour{}, Colour{}}, {one, other}, {one, 1}, {other, 2}});
            if (one < 0) context.beginMask();
            context.drawImage(pictureOf(1, {kRed}), rect);
            context.drawTiledImage(pictureOf(1, {kRed}), {one, other, other, 1});
            context.drawText("\xFF\n", {"", one}, Colour::black(), {other, one});
            context.save();
            if (other > 0) context.endLayer();
          }
      });
  EXPECT_TRUE(image);
  for (const double side : wild)
    if (side != 3) {
      EXPECT_FALSE(platform::current<platform::Canvas>()->draw({side, 4}, side, {}));
    }
}

TEST(Canvas, WritesTextAsLargeAsItSays) {
  const Font font = {"DejaVu Sans", 20};
  Size size;
  const auto image =
      platform::current<platform::Canvas>()->draw({100, 30}, 1, [&](DrawingContext& context) {
        size = context.sizeOfText("Total", font);
        context.drawText("Total", font, Colour::black(), {10, 2});
      });
  EXPECT_NEAR(size.height, 23, 2);
  EXPECT_GT(size.width, 40);
  int left = 100;
  int right = 0;
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 100; ++x)
      if (component(image->pixel(x, y), 3) > 128) {
        left = std::min(left, x);
        right = std::max(right, x);
      }
  EXPECT_NEAR(left, 10, 2);
  EXPECT_NEAR(right, 10 + size.width, 4);
}

TEST(ImagesAreShared, ByThreadsThroughEveryPureOperation) {
  const Image image = pixels::photo(40, 30);
  const auto work = [&] {
    const auto turned = VaspImageUtils::imageRotatedByAngle_angle(image, 30);
    const auto blurred = VaspImageUtils::imageBlurring(turned);
    const auto circle = VaspImageUtils::circleCroppedImage(blurred);
    return VaspImageUtils::resizedImage_withSize(
        VaspImageUtils::image_addingOnTop(
            VaspImageUtils::imagToMultiply_multiplyedColor(image, Colour::rgb(0x336699)), circle),
        {31, 17});
  };
  const auto expected = work();
  std::vector<std::thread> threads;
  std::vector<std::optional<Image>> results(8);
  for (auto& result : results)
    threads.emplace_back([&] { result = work(); });
  for (std::thread& thread : threads)
    thread.join();
  for (const auto& result : results)
    EXPECT_EQ(result, expected);
}

}  // namespace
}  // namespace kelm
