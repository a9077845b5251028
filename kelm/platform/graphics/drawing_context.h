#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/colour.h"
#include "kelm/platform/graphics/font.h"
#include "kelm/platform/graphics/geometry.h"
#include "kelm/platform/graphics/image.h"

namespace kelm {

/// How what is drawn and what is below become one colour (W3C, Compositing and Blending 1).
enum class BlendMode { Normal = 0, Multiply = 1, Screen = 2, Overlay = 3 };

/// Colours along a line, and beyond its ends that of the end. Between two colours, components are
/// averaged as they are encoded, before they are multiplied by alpha.
struct Gradient {
  std::vector<Colour> colours;
  /// Where on the line each colour is pure, 0 to 1; empty: spread evenly. Of two lists of different
  /// lengths, the rest of the longer one is left out. Taken in the order of their values.
  std::vector<double> locations;
  Point start;
  Point end;
};

/// The surface that is drawn on, with a state that save() keeps and restore() brings back: the
/// transform, the clip, the blend mode and the alpha. Coordinates are points, y downwards, until
/// they are transformed. NaN and infinite numbers draw nothing. For one thread.
class KELM_API DrawingContext {
 public:
  virtual ~DrawingContext() = default;

  virtual void save() = 0;
  /// Nothing where nothing was saved.
  virtual void restore() = 0;
  /// Applied to coordinates before the transform so far.
  virtual void concatenate(const AffineTransform& transform) = 0;
  void translateBy(double dx, double dy) { concatenate(AffineTransform::translation(dx, dy)); }
  void scaleBy(double sx, double sy) { concatenate(AffineTransform::scaling(sx, sy)); }

  /// Draws only inside of this and of the clip so far, with smooth edges. Radii as
  /// CornerRadii::fitting() makes them.
  virtual void clipToRoundedRect(const Rect& rect, const CornerRadii& radii) = 0;
  virtual void setBlendMode(BlendMode mode) = 0;
  /// Multiplies the alpha of what is drawn from now on: 0 to 1.
  virtual void setAlpha(double alpha) = 0;

  virtual void fillRoundedRect(const Rect& rect, const CornerRadii& radii,
                               const Colour& colour) = 0;
  void fillRect(const Rect& rect, const Colour& colour) { fillRoundedRect(rect, {}, colour); }
  /// The area inside of the closed line through these points (non-zero winding).
  virtual void fillPolygon(std::span<const Point> points, const Colour& colour) = 0;
  /// Everywhere inside of the clip.
  virtual void fillGradient(const Gradient& gradient) = 0;

  /// The picture, upright as its orientation says, stretched to the rectangle.
  virtual void drawImage(const Image& image, const Rect& rect) = 0;
  /// The picture's rows again and again, everywhere inside of the clip, so that one copy fills the
  /// rectangle. As in coordinates whose y points up, the first row is at the largest y: where y
  /// points down, a context is turned over with scaleBy(1, -1) before. Nothing for an empty
  /// rectangle.
  virtual void drawTiledImage(const Image& image, const Rect& tile) = 0;
  /// One line of text, whose line box has its upper left corner there.
  virtual void drawText(std::string_view text, const Font& font, const Colour& colour,
                        Point origin) = 0;
  /// The width and height of that line box.
  virtual Size sizeOfText(std::string_view text, const Font& font) = 0;

  /// What is drawn until the end of the layer goes to a transparent layer of its own, which is then
  /// drawn with the alpha and blend mode of now. A layer keeps the state, as save() and restore()
  /// do.
  virtual void beginLayer() = 0;
  /// From now on until the end of the layer: what is drawn is not seen, but its alpha says how much
  /// of the layer shows; gray pictures count as alpha. Once a layer.
  virtual void beginMask() = 0;
  virtual void endLayer() = 0;
};

}  // namespace kelm
