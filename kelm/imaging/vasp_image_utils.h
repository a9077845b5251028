#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/imaging/inner_gradient_view.h"
#include "kelm/imaging/tringle_view.h"
#include "kelm/platform/graphics/image.h"
#include "kelm/platform/graphics/view.h"

namespace kelm {

/// Makes and changes pictures and small views. Stateless; logs nothing.
///
/// Sizes and rectangles are in points: a picture's pixels divided by its scale. Sizes become whole
/// pixels by rounding to the nearest, but what is visible at all is never less than one pixel. No
/// operation fails loudly: an absent picture or view, a number that is NaN or infinite, a size that
/// is not positive, or too large for a picture, gives an absent result. Operations on pictures may
/// run on any thread; those that make, change or draw views only on the user interface's.
class KELM_API VaspImageUtils {
 public:
  VaspImageUtils() = delete;
  using MaybeImage = std::optional<Image>;
  using ViewPointer = std::shared_ptr<View>;

  /// `imageWithImage:croppedWithRect:` The pixels of the rectangle times the scale, counted in the
  /// rows in memory, whatever the orientation; with the picture's scale and orientation. Shares the
  /// pixels. What lies outside is left out; absent when nothing is left.
  static MaybeImage imageWithImage_croppedWithRect(const MaybeImage& image, const Rect& rect);
  /// `cropFrame:onUIImage:` The same.
  static MaybeImage cropFrame_onUIImage(const Rect& rect, const MaybeImage& image);
  /// `squaredImageCroppingOnCenter:` The largest square, in the middle; an odd pixel stays out on
  /// the right or at the bottom. Shares the pixels.
  static MaybeImage squaredImageCroppingOnCenter(const MaybeImage& image);

  /// `imageByMirrorHorizzontal:` Left and right exchanged: by the scaling (-1, 1).
  static MaybeImage imageByMirrorHorizzontal(const MaybeImage& image);
  /// `imageByMirrorVertical:` Top and bottom exchanged: by the scaling (1, -1).
  static MaybeImage imageByMirrorVertical(const MaybeImage& image);
  /// `imageRotatedByAngle:angle:` By degrees, counter-clockwise.
  static MaybeImage imageRotatedByAngle_angle(const MaybeImage& image, double angle);
  /// `imageWithImage:byApplyingTransform:` The rows in memory after the transform, whose y points
  /// up, as that of bitmaps; in the smallest picture that holds them, whatever the transform moves.
  /// Quarter turns and mirrors keep every pixel. The scale stays, the orientation is Up.
  static MaybeImage imageWithImage_byApplyingTransform(const MaybeImage& image,
                                                       const AffineTransform& transform);
  /// `imageWithImageNormalizingOrientation:` Left and LeftMirrored are turned by 90 degrees, Right
  /// and RightMirrored by -90, Down and DownMirrored by 180. Mirrored pictures are not mirrored
  /// back: UpMirrored ones, as Up ones, are returned as they are.
  static MaybeImage imageWithImageNormalizingOrientation(const MaybeImage& image);

  /// `imageFromDataScaledToScreenScale:` The picture of a PNG, JPEG or WebP file with the main
  /// screen's scale, its rows as they are: the orientation is Up. Absent for no or empty bytes and
  /// for what ImageCodec does not decode.
  static MaybeImage imageFromDataScaledToScreenScale(std::optional<DataView> bytes);
  /// `imageFromB64StringScaledToScreenScale:` The same for what VaspBase64 decodes.
  static MaybeImage imageFromB64StringScaledToScreenScale(std::optional<std::string_view> text);

  /// `resizedImage:withSize:` Stretched to the size, with the same scale and orientation. Cap
  /// insets keep their size in points, as far as there is room. Smaller sides are averaged over the
  /// area, larger ones go by a cubic.
  static MaybeImage resizedImage_withSize(const MaybeImage& image, Size size);
  /// `resizedImage:withSize:keepAspectRatio:` With `keep`, stretched to the size that
  /// `sizeOfresizedImage:keepRatioAndFIT:` gives.
  static MaybeImage resizedImage_withSize_keepAspectRatio(const MaybeImage& image, Size size,
                                                          bool keep);
  /// `resizedImage:withSize:keepingImageSizeAndAddingBackgroundColor:` The picture as it is,
  /// upright, in the middle of one of that size and colour (an absent one is clear); what has no
  /// room is cut.
  static MaybeImage resizedImage_withSize_keepingImageSizeAndAddingBackgroundColor(
      const MaybeImage& image, Size size, std::optional<Colour> colour);
  /// `resizeImage:withTCap:andLCap:` The picture with cap insets: `top` and `left` points, one
  /// point that stretches, and the rest. Caps are at least 0, and leave that point where there is
  /// one.
  static MaybeImage resizeImage_withTCap_andLCap(const MaybeImage& image, double top, double left);
  /// `sizeOfresizedImage:keepRatioAndFILL:` The smallest size of the picture's shape that covers
  /// `size`, in points that are whole pixels. {0, 0} where there is none.
  static Size sizeOfresizedImage_keepRatioAndFILL(const MaybeImage& image, Size size);
  /// `sizeOfresizedImage:keepRatioAndFIT:` The largest that fits into it.
  static Size sizeOfresizedImage_keepRatioAndFIT(const MaybeImage& image, Size size);
  /// `cgaffineTransformFromRect:toRect:` Stretches and moves the one rectangle to the other; a side
  /// of 0 is moved only.
  static AffineTransform cgaffineTransformFromRect_toRect(const Rect& from, const Rect& to);

  /// `lineWithSize:andColor:` A view filled with the colour, clear without one; not opaque.
  static ViewPointer lineWithSize_andColor(Size size, std::optional<Colour> colour);
  /// `emptyView` A clear view of one point, not opaque.
  static ViewPointer emptyView();
  /// `emptyViewWithFrame:`
  static ViewPointer emptyViewWithFrame(const Rect& frame);
  /// `emptyImage` The picture of `emptyView`.
  static MaybeImage emptyImage();
  /// `imageWithView:` The view and all that is in it, in its own coordinates and of its bounds'
  /// size, at the main screen's scale.
  static MaybeImage imageWithView(const ViewPointer& view);
  /// `imageWithFrame:color:useAlpha:` Returns an image of the rectangle's size, filled with the
  /// colour, at the main screen's scale. Without `useAlpha` it is opaque: the colour lies over
  /// black.
  static MaybeImage imageWithFrame_color_useAlpha(const Rect& frame, const Colour& colour,
                                                  bool useAlpha);
  /// `circleViewWithDiameter:` A clear view that clips to its bounds. Its sides are the smaller of
  /// the diameter and 0; from a diameter of 1 on the corner radius is half of it, rounded down.
  static ViewPointer circleViewWithDiameter(std::int32_t diameter);
  /// `getRoundedMaskWithRect:radiustl:radiustr:radiusbl:radiusbr:` A gray picture of the
  /// rectangle's size at the main screen's scale: 255 within the rounded corners, 0 outside. Radii
  /// that do not fit shrink together, as in CSS (see CornerRadii).
  static MaybeImage getRoundedMaskWithRect_radiustl_radiustr_radiusbl_radiusbr(
      const Rect& rect, double topLeft, double topRight, double bottomLeft, double bottomRight);
  /// `applyRoundedMaskRadiustl:radiustr:radiusbl:radiusbr:forView:` Gives the view's layer a mask
  /// of such a picture, stretched to its bounds, and lets it mask to its bounds. Returns the view.
  static ViewPointer applyRoundedMaskRadiustl_radiustr_radiusbl_radiusbr_forView(
      double topLeft, double topRight, double bottomLeft, double bottomRight,
      const ViewPointer& view);
  /// `getTriangleWithSize:andColor:andRotation:` Turned by the degrees, clockwise. An absent colour
  /// stays absent.
  static std::shared_ptr<TringleView> getTriangleWithSize_andColor_andRotation(
      Size size, std::optional<Colour> colour, std::int32_t rotation);
  /// `applyVerticalGradientToView:UIColorArray:` From the first colour at the bottom to the last
  /// one at the top, below everything else in the view. Nothing without a view or colours.
  static void applyVerticalGradientToView_UIColorArray(
      const ViewPointer& view, const std::optional<std::vector<Colour>>& colours);
  /// `gradientViewWithFrame:UIColorArray:locationsArray:direction:` A clear view with a gradient.
  /// Directions: 2 from bottom to top, 3 from top to bottom, 4 from left to right; others keep the
  /// points of a new GradientLayer.
  static std::shared_ptr<InnerGradientView>
  gradientViewWithFrame_UIColorArray_locationsArray_direction(
      const Rect& frame, const std::vector<Colour>& colours,
      const std::optional<std::vector<double>>& locations, std::int32_t direction);

  /// `getScreenShotOfVIew:` The same as `imageWithView:`.
  static MaybeImage getScreenShotOfVIew(const ViewPointer& view);
  /// `getScreenShotOfVIew:fromVRam:` The same either way: no compositor is asked.
  static MaybeImage getScreenShotOfVIew_fromVRam(const ViewPointer& view, bool fromVRam);
  /// `getScreenShotOfVIew:cropRect:` The part of it in that rectangle of the view.
  static MaybeImage getScreenShotOfVIew_cropRect(const ViewPointer& view, const Rect& rect);

  /// `circleCroppedImage:` The largest circle in the middle; transparent around it, with a smooth
  /// edge.
  static MaybeImage circleCroppedImage(const MaybeImage& image);
  /// `imageBlurring:` By a radius of 5.
  static MaybeImage imageBlurring(const MaybeImage& image);
  /// `imageBlurring:withBlurRadius:` By a Gaussian whose standard deviation in pixels is the
  /// radius, taken as a single-precision number. The size stays: beyond an edge all is as at the
  /// edge, so that no dark border comes. The picture itself for a radius of 0, below, and NaN.
  static MaybeImage imageBlurring_withBlurRadius(const MaybeImage& image, double radius);

  /// `imageWithReflectionWithScale:image:gap:alpha:` The picture, upright; `gap` points below it,
  /// its reflection with that alpha. A negative gap is none.
  static MaybeImage imageWithReflectionWithScale_image_gap_alpha(double scale,
                                                                 const MaybeImage& image,
                                                                 double gap, double alpha);
  /// `reflectedImageWithScale:image:` The lowest part of the picture, upright, of its height times
  /// the scale (at most 1), turned over and fading out downwards as `gradientMask` says.
  static MaybeImage reflectedImageWithScale_image(double scale, const MaybeImage& image);
  /// `gradientMask` One pixel wide and 256 high: gray tones from 255 at the top down to 0.
  static MaybeImage gradientMask();
  /// `imagToMultiply:multiplyedColor:` Every colour times the given one, as far as that is opaque;
  /// what is transparent stays so.
  static MaybeImage imagToMultiply_multiplyedColor(const MaybeImage& image, const Colour& colour);
  /// `image:addingOnTop:` The second picture over the middle of the first one, both upright, at its
  /// own size in points; what does not lie on the first is cut.
  static MaybeImage image_addingOnTop(const MaybeImage& image, const MaybeImage& top);
};

}  // namespace kelm
