// Views, and the pictures of views.
#include "kelm/imaging/picture_size.h"
#include "kelm/imaging/vasp_image_utils.h"
#include "kelm/platform/graphics/canvas.h"

namespace kelm {
namespace {

using MaybeImage = VaspImageUtils::MaybeImage;
using ViewPointer = VaspImageUtils::ViewPointer;

constexpr double kRadiansOfDegree = 0.017453292519943295;
constexpr Point kTop = {0.5, 0.0};
constexpr Point kBottom = {0.5, 1.0};

std::shared_ptr<GradientLayer> gradientLayer(const Rect& frame,
                                             const std::vector<Colour>& colours) {
  auto layer = std::make_shared<GradientLayer>();
  layer->backgroundColour = Colour::clear();
  layer->isOpaque = false;
  layer->setFrame(frame);
  layer->colours = colours;
  return layer;
}

void insertBelow(const View& view, const std::shared_ptr<Layer>& layer) {
  view.layer()->sublayers.insert(view.layer()->sublayers.begin(), layer);
}

}  // namespace

ViewPointer VaspImageUtils::lineWithSize_andColor(Size size, std::optional<Colour> colour) {
  auto view = std::make_shared<View>(Rect{0, 0, size.width, size.height});
  view->setBackgroundColour(colour.value_or(Colour::clear()));
  view->setOpaque(false);
  return view;
}

ViewPointer VaspImageUtils::emptyView() { return emptyViewWithFrame({0, 0, 1, 1}); }

ViewPointer VaspImageUtils::emptyViewWithFrame(const Rect& frame) {
  auto view = std::make_shared<View>(frame);
  view->setBackgroundColour(Colour::clear());
  view->setOpaque(false);
  return view;
}

MaybeImage VaspImageUtils::emptyImage() { return imageWithView(emptyView()); }

MaybeImage VaspImageUtils::imageWithView(const ViewPointer& view) {
  if (!view) return std::nullopt;
  return platform::current<platform::Canvas>()->draw(
      view->bounds().size(), imaging::screenScale(),
      [&](DrawingContext& context) { drawViewInside(*view, context); });
}

ViewPointer VaspImageUtils::circleViewWithDiameter(std::int32_t diameter) {
  const double side = std::min(diameter, 0);
  auto view = std::make_shared<View>(Rect{0, 0, side, side});
  view->setBackgroundColour(Colour::clear());
  const std::int32_t radius = diameter / 2;
  if (diameter >= 1) view->layer()->cornerRadius = radius;
  view->setClipsToBounds(true);
  return view;
}

ViewPointer VaspImageUtils::applyRoundedMaskRadiustl_radiustr_radiusbl_radiusbr_forView(
    double topLeft, double topRight, double bottomLeft, double bottomRight,
    const ViewPointer& view) {
  if (!view) return nullptr;
  const MaybeImage mask = getRoundedMaskWithRect_radiustl_radiustr_radiusbl_radiusbr(
      view->bounds(), topLeft, topRight, bottomLeft, bottomRight);
  const auto first = std::make_shared<Layer>();
  first->contents = mask;
  first->contentsCentre = view->layer()->contentsCentre;
  first->contentsGravity = view->layer()->contentsGravity;
  first->setFrame(view->bounds());
  view->layer()->mask = first;
  view->layer()->masksToBounds = true;
  // The second mask, which is always stretched to the bounds, is the one that stays.
  const auto second = std::make_shared<Layer>();
  second->setFrame(view->bounds());
  second->contents = mask;
  view->layer()->mask = second;
  view->layer()->masksToBounds = true;
  return view;
}

std::shared_ptr<TringleView> VaspImageUtils::getTriangleWithSize_andColor_andRotation(
    Size size, std::optional<Colour> colour, std::int32_t rotation) {
  auto view = TringleView::initWithFrame_andColor({0, 0, size.width, size.height}, colour);
  view->setTransform(AffineTransform::rotation(rotation * kRadiansOfDegree));
  return view;
}

void VaspImageUtils::applyVerticalGradientToView_UIColorArray(
    const ViewPointer& view, const std::optional<std::vector<Colour>>& colours) {
  if (!view || !colours || colours->empty()) return;
  const auto layer = gradientLayer(view->bounds(), *colours);
  layer->startPoint = kBottom;
  layer->endPoint = kTop;
  insertBelow(*view, layer);
}

std::shared_ptr<InnerGradientView>
VaspImageUtils::gradientViewWithFrame_UIColorArray_locationsArray_direction(
    const Rect& frame, const std::vector<Colour>& colours,
    const std::optional<std::vector<double>>& locations, std::int32_t direction) {
  auto view = std::make_shared<InnerGradientView>(frame);
  view->setOpaque(false);
  view->setBackgroundColour(Colour::clear());
  const auto layer = gradientLayer(view->bounds(), colours);
  if (locations) layer->locations = locations;
  if (direction == 2) {
    layer->startPoint = kBottom;
    layer->endPoint = kTop;
  } else if (direction == 3) {
    layer->startPoint = kTop;
    layer->endPoint = kBottom;
  } else if (direction == 4) {
    layer->startPoint = {0.0, 0.5};
    layer->endPoint = {1.0, 0.5};
  }
  insertBelow(*view, layer);
  return view;
}

MaybeImage VaspImageUtils::getScreenShotOfVIew(const ViewPointer& view) {
  return getScreenShotOfVIew_fromVRam(view, false);
}

MaybeImage VaspImageUtils::getScreenShotOfVIew_fromVRam(const ViewPointer& view,
                                                        bool /*fromVRam*/) {
  return imageWithView(view);
}

MaybeImage VaspImageUtils::getScreenShotOfVIew_cropRect(const ViewPointer& view, const Rect& rect) {
  return imageWithImage_croppedWithRect(getScreenShotOfVIew(view), rect);
}

}  // namespace kelm
