#include "kelm/platform/graphics/layer.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kelm/platform/graphics/layer_painter.h"

namespace kelm {
namespace {

constexpr int kDeepest = 200;

bool isFinite(const Rect& rect) {
  return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) &&
         std::isfinite(rect.height);
}

/// Where contents of that size lie in the bounds.
Rect placeOf(Size size, const Rect& bounds, ContentsGravity gravity) {
  using enum ContentsGravity;
  if (gravity == Resize) return bounds;
  if (gravity == ResizeAspect || gravity == ResizeAspectFill) {
    const double across = bounds.width / size.width;
    const double down = bounds.height / size.height;
    const double scale = gravity == ResizeAspect ? std::min(across, down) : std::max(across, down);
    size = {size.width * scale, size.height * scale};
    gravity = Centre;
  }
  const double right = bounds.width - size.width;
  const double bottom = bounds.height - size.height;
  const bool isLeft = gravity == Left || gravity == TopLeft || gravity == BottomLeft;
  const bool isRight = gravity == Right || gravity == TopRight || gravity == BottomRight;
  const bool isTop = gravity == Top || gravity == TopLeft || gravity == TopRight;
  const bool isBottom = gravity == Bottom || gravity == BottomLeft || gravity == BottomRight;
  return {isLeft    ? 0
          : isRight ? right
                    : right / 2,
          isTop      ? 0
          : isBottom ? bottom
                     : bottom / 2,
          size.width, size.height};
}

/// Where a picture's side is cut into a part that keeps its size, one that is stretched and one
/// that keeps its size: the cuts in pixels, and where they come to lie in points.
struct Cuts {
  std::array<double, 4> pixels;
  std::array<double, 4> points;
};

Cuts cutsOf(double centre, double extent, double pixels, double natural, double start,
            double length) {
  const double first = std::clamp(centre, 0.0, 1.0);
  const double second = std::clamp(centre + extent, first, 1.0);
  double before = first * natural;
  double after = (1 - second) * natural;
  if (before + after > length) {  // no room for the middle
    const double factor = length / (before + after);
    before *= factor;
    after *= factor;
  }
  return {{0, std::round(first * pixels), std::round(second * pixels), pixels},
          {start, start + before, start + length - after, start + length}};
}

/// The layer's, or where that is all of the contents, what their cap insets leave.
Rect centreOf(const Layer& layer) {
  const Rect& given = layer.contentsCentre;
  const std::optional<Insets>& caps = layer.contents->capInsets();
  if (given != Rect{0, 0, 1, 1} || !caps) return given;
  const Size size = layer.contents->size();
  return {caps->left / size.width, caps->top / size.height,
          1 - (caps->left + caps->right) / size.width,
          1 - (caps->top + caps->bottom) / size.height};
}

void drawContents(const Layer& layer, DrawingContext& context) {
  const Image& image = *layer.contents;
  const Rect bounds = layer.bounds();
  const Rect place = placeOf(image.size(), bounds, layer.contentsGravity);
  const Rect centre = centreOf(layer);
  const bool isUpright = image.orientation() == Orientation::Up;
  if (centre == Rect{0, 0, 1, 1} || layer.contentsGravity != ContentsGravity::Resize ||
      !isUpright) {
    context.drawImage(image, place);
    return;
  }
  const Size size = image.size();
  const Cuts across =
      cutsOf(centre.x, centre.width, image.width(), size.width, place.x, place.width);
  const Cuts down =
      cutsOf(centre.y, centre.height, image.height(), size.height, place.y, place.height);
  for (std::size_t y = 0; y < 3; ++y)
    for (std::size_t x = 0; x < 3; ++x) {
      const auto piece =
          image.cropped({across.pixels[x], down.pixels[y], across.pixels[x + 1] - across.pixels[x],
                         down.pixels[y + 1] - down.pixels[y]});
      if (piece)
        context.drawImage(
            *piece, {across.points[x], down.points[y], across.points[x + 1] - across.points[x],
                     down.points[y + 1] - down.points[y]});
    }
}

}  // namespace

void Layer::setFrame(const Rect& frame) {
  if (needsDisplayOnBoundsChange && frame.size() != frame_.size()) needsDisplay_ = true;
  frame_ = frame;
}

void Layer::drawInContext(DrawingContext& /*context*/) const {}

void GradientLayer::drawInContext(DrawingContext& context) const {
  const Rect area = bounds();
  const auto place = [&](Point part) { return Point{part.x * area.width, part.y * area.height}; };
  context.save();
  context.clipToRoundedRect(area, CornerRadii::all(cornerRadius));
  context.fillGradient({.colours = colours,
                        .locations = locations.value_or(std::vector<double>()),
                        .start = place(startPoint),
                        .end = place(endPoint)});
  context.restore();
}

void drawLayer(const Layer& layer, DrawingContext& context) { LayerPainter(context).draw(layer); }

void LayerPainter::place(const Layer& layer) {
  const Rect& frame = layer.frame();
  context_.translateBy(frame.midX(), frame.midY());
  context_.concatenate(layer.transform);
  context_.translateBy(-frame.width / 2, -frame.height / 2);
}

void LayerPainter::draw(const Layer& layer, const Inside& drawn, const Inside& above) {
  if (depth_ >= kDeepest || !isFinite(layer.frame()) || !(layer.opacity > 0)) return;
  ++depth_;
  context_.save();
  if (depth_ > 1 || !isOwnSpace_) place(layer);
  const bool isComposed = layer.mask != nullptr || layer.opacity < 1;
  if (isComposed) {
    context_.setAlpha(std::min(layer.opacity, 1.0));
    context_.beginLayer();
  }
  drawInside(layer, drawn, above);
  if (layer.mask != nullptr) {
    context_.beginMask();
    draw(*layer.mask);
  }
  if (isComposed) context_.endLayer();
  context_.restore();
  --depth_;
}

void LayerPainter::drawInside(const Layer& layer, const Inside& drawn, const Inside& above) {
  const Rect bounds = layer.bounds();
  const CornerRadii corners = CornerRadii::all(layer.cornerRadius);
  if (layer.masksToBounds) context_.clipToRoundedRect(bounds, corners);
  const bool hasArea = bounds.width > 0 && bounds.height > 0;
  if (hasArea && layer.backgroundColour)
    context_.fillRoundedRect(bounds, corners, *layer.backgroundColour);
  if (hasArea && layer.contents) drawContents(layer, context_);
  layer.drawInContext(context_);
  if (drawn) drawn();
  for (const auto& sublayer : layer.sublayers)
    if (sublayer) draw(*sublayer);
  if (above) above();
}

}  // namespace kelm
