#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/drawing_context.h"

namespace kelm {

/// Where contents of another size than the layer's are shown.
enum class ContentsGravity : std::uint8_t {
  Resize,            ///< stretched to the bounds
  ResizeAspect,      ///< as large as fits, in the middle
  ResizeAspectFill,  ///< as small as covers, in the middle
  Centre,
  Top,
  Bottom,
  Left,
  Right,
  TopLeft,
  TopRight,
  BottomLeft,
  BottomRight,
};

/// A rectangle of a picture that is composed: its background, its contents, what it draws itself,
/// and above these its sublayers, the first one lowest. A plain tree for whatever draws it; nothing
/// here is thread-safe.
class KELM_API Layer {
 public:
  virtual ~Layer() = default;

  /// In the coordinates of the layer above it, before the transform.
  const Rect& frame() const { return frame_; }
  /// Redraws if the size changes and `needsDisplayOnBoundsChange` says so.
  void setFrame(const Rect& frame);
  /// Its own coordinates: of the frame's size, from (0, 0).
  Rect bounds() const { return {0, 0, frame_.width, frame_.height}; }

  /// True from the moment on at which it has to be drawn again, until it is.
  bool needsDisplay() const { return needsDisplay_; }
  void setNeedsDisplay(bool needs = true) { needsDisplay_ = needs; }

  /// Draws the layer's own content, above its background and contents, in its own coordinates. This
  /// one draws nothing.
  virtual void drawInContext(DrawingContext& context) const;

  AffineTransform transform;  ///< around the middle of the frame
  std::optional<Colour> backgroundColour;
  /// A promise that everything inside of the bounds is covered; nothing is drawn differently.
  bool isOpaque = false;
  double opacity = 1;
  double cornerRadius = 0;  ///< of the background, and of the bounds that mask
  bool masksToBounds = false;
  bool needsDisplayOnBoundsChange = false;
  std::optional<Image> contents;
  /// The part of the contents that is stretched, from 0 to 1; the rest keeps its size.
  /// Left at all of it, the contents' cap insets say so.
  Rect contentsCentre = {0, 0, 1, 1};
  ContentsGravity contentsGravity = ContentsGravity::Resize;
  double contentsScale = 1;  ///< pixels a point of what it draws itself
  /// Its alpha, at its frame in this layer's coordinates, is how much of this layer shows. Gray
  /// contents count as alpha.
  std::shared_ptr<Layer> mask;
  std::vector<std::shared_ptr<Layer>> sublayers;

 private:
  Rect frame_;
  bool needsDisplay_ = false;
};

/// Fills its bounds with a gradient. `startPoint` and `endPoint` are parts of the bounds; by
/// default it goes from the middle of the top to the middle of the bottom.
class KELM_API GradientLayer : public Layer {
 public:
  void drawInContext(DrawingContext& context) const override;

  std::vector<Colour> colours;
  std::optional<std::vector<double>> locations;  ///< absent: spread evenly
  Point startPoint = {0.5, 0};
  Point endPoint = {0.5, 1};
};

/// Draws the layer and everything below it, in the coordinates of what is above it. A tree that is
/// more than 200 layers deep is drawn as far as that.
KELM_API void drawLayer(const Layer& layer, DrawingContext& context);

}  // namespace kelm
