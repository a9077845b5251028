#include "kelm/imaging/vasp_image_utils.h"

#include "kelm/crypto/vasp_base64.h"
#include "kelm/imaging/picture_size.h"
#include "kelm/platform/graphics/image_codec.h"
#include "kelm/platform/graphics/pixels/blur.h"
#include "kelm/platform/graphics/pixels/compose.h"
#include "kelm/platform/graphics/pixels/turn.h"

namespace kelm {
namespace {

using MaybeImage = VaspImageUtils::MaybeImage;

constexpr double kRadiansOfDegree = 0.017453292519943295;
constexpr double kDefaultRadius = 5.0;

}  // namespace

MaybeImage VaspImageUtils::imageWithImage_croppedWithRect(const MaybeImage& image,
                                                          const Rect& rect) {
  if (!image) return std::nullopt;
  const double scale = image->scale();
  return image->cropped({rect.x * scale, rect.y * scale, rect.width * scale, rect.height * scale});
}

MaybeImage VaspImageUtils::cropFrame_onUIImage(const Rect& rect, const MaybeImage& image) {
  return imageWithImage_croppedWithRect(image, rect);
}

MaybeImage VaspImageUtils::squaredImageCroppingOnCenter(const MaybeImage& image) {
  if (!image) return std::nullopt;
  const int side = std::min(image->width(), image->height());
  const int left = (image->width() - side) / 2;
  const int top = (image->height() - side) / 2;
  return image->cropped({left * 1.0, top * 1.0, side * 1.0, side * 1.0});
}

MaybeImage VaspImageUtils::imageByMirrorHorizzontal(const MaybeImage& image) {
  return imageWithImage_byApplyingTransform(image, AffineTransform::scaling(-1, 1));
}

MaybeImage VaspImageUtils::imageByMirrorVertical(const MaybeImage& image) {
  return imageWithImage_byApplyingTransform(image, AffineTransform::scaling(1, -1));
}

MaybeImage VaspImageUtils::imageRotatedByAngle_angle(const MaybeImage& image, double angle) {
  return imageWithImage_byApplyingTransform(image,
                                            AffineTransform::rotation(angle * kRadiansOfDegree));
}

MaybeImage VaspImageUtils::imageWithImage_byApplyingTransform(const MaybeImage& image,
                                                              const AffineTransform& transform) {
  if (!image) return std::nullopt;
  const AffineTransform turnedOver = AffineTransform::scaling(1, -1);
  return pixels::transformed(*image, turnedOver.then(transform).then(turnedOver));
}

MaybeImage VaspImageUtils::imageWithImageNormalizingOrientation(const MaybeImage& image) {
  if (!image) return std::nullopt;
  switch (image->orientation()) {
    case Orientation::Left:
    case Orientation::LeftMirrored:
      return imageRotatedByAngle_angle(image, 90);
    case Orientation::Right:
    case Orientation::RightMirrored:
      return imageRotatedByAngle_angle(image, -90);
    case Orientation::Down:
    case Orientation::DownMirrored:
      return imageRotatedByAngle_angle(image, 180);
    case Orientation::Up:
    case Orientation::UpMirrored:
      break;
  }
  return image;
}

MaybeImage VaspImageUtils::imageFromDataScaledToScreenScale(std::optional<DataView> bytes) {
  if (!bytes || bytes->empty()) return std::nullopt;
  const MaybeImage image = platform::current<platform::ImageCodec>()->decode(*bytes);
  if (!image) return std::nullopt;
  return image->withScale(imaging::screenScale()).withOrientation(Orientation::Up);
}

MaybeImage VaspImageUtils::imageFromB64StringScaledToScreenScale(
    std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  const std::optional<Data> bytes = VaspBase64::dataOfBase64String(text);
  return bytes ? imageFromDataScaledToScreenScale(*bytes) : std::nullopt;
}

MaybeImage VaspImageUtils::circleCroppedImage(const MaybeImage& image) {
  const MaybeImage square = squaredImageCroppingOnCenter(image);
  if (!square) return std::nullopt;
  const double side = square->width();
  const MaybeImage circle = pixels::roundedMask(side, side, CornerRadii::all(side / 2));
  return circle ? pixels::masked(*square, *circle) : std::nullopt;
}

MaybeImage VaspImageUtils::imageBlurring(const MaybeImage& image) {
  return imageBlurring_withBlurRadius(image, kDefaultRadius);
}

MaybeImage VaspImageUtils::imageBlurring_withBlurRadius(const MaybeImage& image, double radius) {
  return image ? pixels::blurred(*image, static_cast<float>(radius)) : std::nullopt;
}

}  // namespace kelm
