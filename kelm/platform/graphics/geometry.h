#pragma once

#include "kelm/base/export.h"

namespace kelm {

/// Positions and sizes are in points, with x to the right and y downwards, unless something else is
/// said. Any double may stand in these structs: who makes pixels of them refuses NaN and infinity.
struct Point {
  double x = 0;
  double y = 0;

  bool operator==(const Point&) const = default;
};

struct Size {
  double width = 0;
  double height = 0;

  bool operator==(const Size&) const = default;
};

/// Distances from the four sides of a rectangle towards its inside.
struct Insets {
  double top = 0;
  double left = 0;
  double bottom = 0;
  double right = 0;

  bool operator==(const Insets&) const = default;
};

/// Sides may be negative, as they were given; the smallest and largest coordinates take that into
/// account, `x` and `width` do not.
struct KELM_API Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double minX() const { return width < 0 ? x + width : x; }
  double minY() const { return height < 0 ? y + height : y; }
  double maxX() const { return width < 0 ? x : x + width; }
  double maxY() const { return height < 0 ? y : y + height; }
  double midX() const { return x + width / 2; }
  double midY() const { return y + height / 2; }
  Point origin() const { return {x, y}; }
  Point centre() const { return {midX(), midY()}; }
  Size size() const { return {width, height}; }

  /// True if nothing lies inside: a side is 0, or a number of it is NaN.
  bool isEmpty() const;
  /// True for the points inside and on the left and upper side.
  bool contains(Point point) const;
  /// The same rectangle with sides that are not negative.
  Rect standardized() const;
  /// Returns the area that both rectangles cover; an empty rectangle {0, 0, 0, 0} when that is
  /// nothing.
  Rect intersection(const Rect& other) const;
  /// The smallest rectangle that covers both; empty ones do not count.
  Rect united(const Rect& other) const;
  Rect offsetBy(double dx, double dy) const { return {x + dx, y + dy, width, height}; }
  /// Without the insets; {0, 0, 0, 0} at the origin when nothing is left.
  Rect insetBy(const Insets& insets) const;

  bool operator==(const Rect&) const = default;
};

/// Radii of a rectangle's corners.
struct KELM_API CornerRadii {
  double topLeft = 0;
  double topRight = 0;
  double bottomLeft = 0;
  double bottomRight = 0;

  static CornerRadii all(double radius) { return {radius, radius, radius, radius}; }
  /// Negative ones and NaN are 0; where two of a side need more than there is, all shrink by the
  /// same factor until they fit (CSS Backgrounds and Borders 3, 4.5).
  CornerRadii fitting(double width, double height) const;

  bool operator==(const CornerRadii&) const = default;
};

/// Maps (x, y) to (a x + c y + tx, b x + d y + ty).
struct KELM_API AffineTransform {
  double a = 1;
  double b = 0;
  double c = 0;
  double d = 1;
  double tx = 0;
  double ty = 0;

  static AffineTransform scaling(double sx, double sy) { return {sx, 0, 0, sy, 0, 0}; }
  static AffineTransform translation(double tx, double ty) { return {1, 0, 0, 1, tx, ty}; }
  /// Turns by `radians` from the positive x axis towards the positive y axis: clockwise where y
  /// points down, counter-clockwise where it points up.
  static AffineTransform rotation(double radians);

  bool isIdentity() const { return *this == AffineTransform{}; }
  Point apply(Point point) const;
  /// The smallest upright rectangle around what the rectangle becomes.
  Rect apply(const Rect& rect) const;
  /// This transform first, then `next`.
  AffineTransform then(const AffineTransform& next) const;
  double determinant() const { return a * d - b * c; }
  /// The transform that undoes this one; the identity when there is none (a determinant of 0).
  AffineTransform inverted() const;

  bool operator==(const AffineTransform&) const = default;
};

}  // namespace kelm
