#include "kelm/imaging/vasp_image_utils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <tuple>
#include <vector>

#include "kelm/crypto/vasp_base64.h"
#include "kelm/platform/graphics/image_codec.h"
#include "tests/imaging/imaging_fixture.h"

namespace kelm {
namespace {

using Utils = VaspImageUtils;
using pixels::component;
using pixels::pictureOf;
using pixels::randomPicture;

constexpr std::uint32_t kRed = 0xFFFF0000;
constexpr std::uint32_t kBlue = 0xFF0000FF;
constexpr std::uint32_t kWhite = 0xFFFFFFFF;

using ImageUtils = OnScreen;

TEST_F(ImageUtils, CropsInPointsOfTheRowsInMemory) {
  const Image image = randomPicture(20, 10);  // two pixels a point, lying on its side
  const auto part = Utils::imageWithImage_croppedWithRect(image, {1, 2, 3, 2});
  EXPECT_EQ(part, image.cropped({2, 4, 6, 4}));
  EXPECT_EQ(part->orientation(), Orientation::Left);
  EXPECT_EQ(Utils::cropFrame_onUIImage({1, 2, 3, 2}, image), part);
  EXPECT_FALSE(Utils::cropFrame_onUIImage({100, 0, 5, 5}, image));
  EXPECT_EQ(Utils::squaredImageCroppingOnCenter(image), image.cropped({5, 0, 10, 10}));
}

TEST_F(ImageUtils, TurnsByOrientationAndNeverMirrorsBack) {
  const Image rows = pictureOf(2, {kRed, kBlue, kWhite, 0});
  const Image left = pictureOf(2, {kBlue, 0, kRed, kWhite});  // counter-clockwise
  const Image right = pictureOf(2, {kWhite, kRed, 0, kBlue});
  const Image half = pictureOf(2, {0, kWhite, kBlue, kRed});
  using Row = std::pair<Orientation, Image>;
  for (const auto& [orientation, upright] :
       {Row{Orientation::Up, rows}, Row{Orientation::Down, half}, Row{Orientation::Left, left},
        Row{Orientation::Right, right}, Row{Orientation::DownMirrored, half},
        Row{Orientation::LeftMirrored, left}, Row{Orientation::RightMirrored, right}})
    EXPECT_EQ(Utils::imageWithImageNormalizingOrientation(rows.withOrientation(orientation)),
              upright)
        << static_cast<int>(orientation);
  const Image mirrored = rows.withOrientation(Orientation::UpMirrored);
  EXPECT_EQ(Utils::imageWithImageNormalizingOrientation(mirrored), mirrored);
  EXPECT_EQ(Utils::imageByMirrorHorizzontal(rows), pictureOf(2, {kBlue, kRed, 0, kWhite}));
  EXPECT_EQ(Utils::imageByMirrorVertical(rows), pictureOf(2, {kWhite, 0, kRed, kBlue}));
  EXPECT_EQ(Utils::imageRotatedByAngle_angle(rows, -270), left);
}

TEST_F(ImageUtils, GivesNothingForNothing) {
  const std::optional<Image> none;
  EXPECT_FALSE(Utils::imageWithImage_croppedWithRect(none, {0, 0, 1, 1}));
  EXPECT_FALSE(Utils::squaredImageCroppingOnCenter(none));
  EXPECT_FALSE(Utils::imageWithImageNormalizingOrientation(none));
  EXPECT_FALSE(Utils::imageRotatedByAngle_angle(randomPicture(2, 2), NAN));
  EXPECT_FALSE(Utils::imageBlurring(none));
  EXPECT_FALSE(Utils::image_addingOnTop(randomPicture(2, 2), none));
  EXPECT_FALSE(Utils::imageWithReflectionWithScale_image_gap_alpha(0, randomPicture(2, 2), 1, 1));
  EXPECT_FALSE(Utils::imageWithView(nullptr));
  EXPECT_EQ(Utils::sizeOfresizedImage_keepRatioAndFIT(none, {5, 5}), Size());
  EXPECT_EQ(Utils::applyRoundedMaskRadiustl_radiustr_radiusbl_radiusbr_forView(1, 1, 1, 1, nullptr),
            nullptr);
  for (const double side : {0.0, -1.0, double{NAN}, double{INFINITY}, 1e9}) {
    EXPECT_FALSE(Utils::resizedImage_withSize(randomPicture(2, 2), {side, 2}));
    EXPECT_FALSE(Utils::imageWithFrame_color_useAlpha({0, 0, 2, side}, Colour::black(), true));
    EXPECT_FALSE(Utils::imageWithView(Utils::emptyViewWithFrame({0, 0, side, 2})));
  }
}

TEST_F(ImageUtils, ReadsPicturesAtTheScreensScale) {
  const Image image = pictureOf(2, {kRed, kBlue, kWhite, 0}).withOrientation(Orientation::Left);
  const Data png =
      platform::current<platform::ImageCodec>()->encode(image, platform::ImageFormat::Png).value();
  const auto read = Utils::imageFromDataScaledToScreenScale(png);
  EXPECT_EQ(read, image.withScale(2).withOrientation(Orientation::Up));
  EXPECT_EQ(Utils::imageFromB64StringScaledToScreenScale(VaspBase64::base64OfData(png)), read);
  EXPECT_FALSE(Utils::imageFromDataScaledToScreenScale(std::nullopt));
  EXPECT_FALSE(Utils::imageFromDataScaledToScreenScale(DataView()));
  EXPECT_FALSE(Utils::imageFromDataScaledToScreenScale(bytesOf("no picture")));
  EXPECT_FALSE(Utils::imageFromB64StringScaledToScreenScale(std::nullopt));
  EXPECT_FALSE(Utils::imageFromB64StringScaledToScreenScale("%%%"));
}

TEST_F(ImageUtils, FitsAndFillsInWholePixels) {
  const Image image = randomPicture(30, 20);  // seen as 10 by 15 points
  using Row = std::tuple<Size, Size, Size>;
  for (const auto& [wanted, fit, fill] :
       {Row{{20, 20}, {13.5, 20}, {20, 30}}, Row{{5, 100}, {5, 7.5}, {66.5, 100}},
        Row{{1e-9, 5}, {0.5, 0.5}, {3.5, 5}}, Row{{0, 5}, {}, {}}, Row{{NAN, 5}, {}, {}}}) {
    EXPECT_EQ(Utils::sizeOfresizedImage_keepRatioAndFIT(image, wanted), fit) << wanted.width;
    EXPECT_EQ(Utils::sizeOfresizedImage_keepRatioAndFILL(image, wanted), fill) << wanted.width;
  }
  EXPECT_EQ(Utils::resizedImage_withSize_keepAspectRatio(image, {20, 20}, true)->size(),
            (Size{13.5, 20}));
  EXPECT_EQ(Utils::resizedImage_withSize_keepAspectRatio(image, {20, 20}, false)->size(),
            (Size{20, 20}));
  EXPECT_EQ(Utils::cgaffineTransformFromRect_toRect({1, 2, 4, 0}, {10, 20, 8, 5}),
            (AffineTransform{2, 0, 0, 1, 8, 18}));
}

TEST_F(ImageUtils, StretchesBetweenCapsOnly) {
  const Image image = pictureOf(3, {kRed, kWhite, kBlue});
  const auto capped = Utils::resizeImage_withTCap_andLCap(image, 0, 1);
  EXPECT_EQ(capped->capInsets(), (Insets{0, 1, 0, 1}));
  const Image wide = Utils::resizedImage_withSize(capped, {5, 1}).value();
  EXPECT_EQ(wide.withCapInsets({}), pictureOf(5, {kRed, kWhite, kWhite, kWhite, kBlue}));
  const auto view = std::make_shared<View>(Rect{0, 0, 5, 1});
  view->layer()->contents = capped;
  EXPECT_EQ(Utils::imageWithView(view)->pixel(1, 0), kRed);  // at two pixels a point
  EXPECT_EQ(Utils::imageWithView(view)->pixel(2, 0), kWhite);
  EXPECT_EQ(Utils::imageWithView(view)->pixel(7, 1), kWhite);
  EXPECT_EQ(Utils::imageWithView(view)->pixel(8, 1), kBlue);
}

TEST_F(ImageUtils, PutsPicturesInTheMiddle) {
  const Image dot = pictureOf(1, {kRed});
  EXPECT_EQ(Utils::resizedImage_withSize_keepingImageSizeAndAddingBackgroundColor(dot, {3, 1},
                                                                                  Colour::white()),
            pictureOf(3, {kWhite, kRed, kWhite}));
  const Image row = pictureOf(3, {kRed, kWhite, kBlue});
  EXPECT_EQ(Utils::resizedImage_withSize_keepingImageSizeAndAddingBackgroundColor(row, {1, 1}, {}),
            pictureOf(1, {kWhite}));
  EXPECT_EQ(Utils::image_addingOnTop(row, dot), pictureOf(3, {kRed, kRed, kBlue}));
  EXPECT_EQ(Utils::imagToMultiply_multiplyedColor(row, {1, 0, 0.5, 0.5}),
            pictureOf(3, {kRed, 0xFFFF7FBF, 0xFF0000BF}));
  EXPECT_EQ(Utils::imageWithFrame_color_useAlpha({9, 9, 0.5, 0.5}, {1, 1, 1, 0.5}, false),
            pictureOf(1, {0xFF808080}).withScale(2));
  EXPECT_EQ(Utils::imageWithFrame_color_useAlpha({9, 9, 0.5, 0.5}, {1, 1, 1, 0.5}, true),
            pictureOf(1, {0x80808080}).withScale(2));
}

TEST_F(ImageUtils, ReflectsTheLowestPartAndFadesItOut) {
  const Image image = pictureOf(1, {kRed, kBlue, kWhite, kBlue});
  const Image whole = Utils::imageWithReflectionWithScale_image_gap_alpha(0.5, image, 1, 1).value();
  EXPECT_EQ(whole.height(), 7);
  EXPECT_EQ(whole.pixel(0, 4), 0U);
  EXPECT_NEAR(component(whole.pixel(0, 5), 3), 191, 1);
  EXPECT_EQ(component(whole.pixel(0, 5), 2), 0);  // blue is next to the picture
  EXPECT_NEAR(component(whole.pixel(0, 6), 2), 64, 1);
  const auto half = Utils::imageWithReflectionWithScale_image_gap_alpha(9, image, 0, 0.5);
  EXPECT_EQ(half->height(), 8);
  EXPECT_LT(component(half->pixel(0, 4), 3), 128);
}

TEST_F(ImageUtils, CutsCirclesAndBlursByFive) {
  const Image image = randomPicture(31, 21);
  const Image circle = Utils::circleCroppedImage(image).value();
  EXPECT_EQ(circle.width(), 21);
  EXPECT_EQ(circle.pixel(0, 0), 0U);
  EXPECT_EQ(circle.pixel(10, 10), image.pixel(15, 10));
  EXPECT_EQ(Utils::imageBlurring(image), Utils::imageBlurring_withBlurRadius(image, 5.0));
  EXPECT_NE(Utils::imageBlurring(image), Utils::imageBlurring_withBlurRadius(image, 5.5));
}

}  // namespace
}  // namespace kelm
