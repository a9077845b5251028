#include "kelm/platform/graphics/geometry.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace kelm {
namespace {

double positive(double length) { return length > 0 ? length : 0; }

}  // namespace

bool Rect::isEmpty() const {
  return !(std::abs(width) > 0 && std::abs(height) > 0) || std::isnan(x) || std::isnan(y);
}

bool Rect::contains(Point point) const {
  return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

Rect Rect::standardized() const { return {minX(), minY(), std::abs(width), std::abs(height)}; }

Rect Rect::intersection(const Rect& other) const {
  if (isEmpty() || other.isEmpty()) return {};
  const double left = std::max(minX(), other.minX());
  const double top = std::max(minY(), other.minY());
  const double right = std::min(maxX(), other.maxX());
  const double bottom = std::min(maxY(), other.maxY());
  if (!(right > left && bottom > top)) return {};
  return {left, top, right - left, bottom - top};
}

Rect Rect::united(const Rect& other) const {
  if (isEmpty()) return other.isEmpty() ? Rect{} : other.standardized();
  if (other.isEmpty()) return standardized();
  const double left = std::min(minX(), other.minX());
  const double top = std::min(minY(), other.minY());
  return {left, top, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top};
}

Rect Rect::insetBy(const Insets& insets) const {
  const Rect outer = standardized();
  const Rect inner = {outer.x + insets.left, outer.y + insets.top,
                      outer.width - insets.left - insets.right,
                      outer.height - insets.top - insets.bottom};
  return inner.width > 0 && inner.height > 0 ? inner : Rect{};
}

CornerRadii CornerRadii::fitting(double width, double height) const {
  const CornerRadii given = {positive(topLeft), positive(topRight), positive(bottomLeft),
                             positive(bottomRight)};
  double factor = 1;
  const auto fit = [&](double one, double other, double side) {
    if (one + other > side) factor = std::min(factor, positive(side) / (one + other));
  };
  fit(given.topLeft, given.topRight, width);
  fit(given.bottomLeft, given.bottomRight, width);
  fit(given.topLeft, given.bottomLeft, height);
  fit(given.topRight, given.bottomRight, height);
  const auto scaled = [factor](double radius) { return factor == 0 ? 0 : radius * factor; };
  return {scaled(given.topLeft), scaled(given.topRight), scaled(given.bottomLeft),
          scaled(given.bottomRight)};
}

AffineTransform AffineTransform::rotation(double radians) {
  const double cosine = std::cos(radians);
  const double sine = std::sin(radians);
  return {cosine, sine, -sine, cosine, 0, 0};
}

Point AffineTransform::apply(Point point) const {
  return {a * point.x + c * point.y + tx, b * point.x + d * point.y + ty};
}

Rect AffineTransform::apply(const Rect& rect) const {
  const Point corners[] = {
      apply(Point{rect.minX(), rect.minY()}), apply(Point{rect.maxX(), rect.minY()}),
      apply(Point{rect.minX(), rect.maxY()}), apply(Point{rect.maxX(), rect.maxY()})};
  const auto byX = [](Point one, Point other) { return one.x < other.x; };
  const auto byY = [](Point one, Point other) { return one.y < other.y; };
  const auto [left, right] = std::minmax_element(std::begin(corners), std::end(corners), byX);
  const auto [top, bottom] = std::minmax_element(std::begin(corners), std::end(corners), byY);
  return {left->x, top->y, right->x - left->x, bottom->y - top->y};
}

AffineTransform AffineTransform::then(const AffineTransform& next) const {
  return {next.a * a + next.c * b,
          next.b * a + next.d * b,
          next.a * c + next.c * d,
          next.b * c + next.d * d,
          next.a * tx + next.c * ty + next.tx,
          next.b * tx + next.d * ty + next.ty};
}

AffineTransform AffineTransform::inverted() const {
  const double area = determinant();
  if (area == 0 || !std::isfinite(area)) return {};
  return {
      d / area, -b / area, -c / area, a / area, (c * ty - d * tx) / area, (b * tx - a * ty) / area};
}

}  // namespace kelm
