#pragma once

#include <memory>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/layer.h"

namespace kelm {

/// A rectangle on a screen: a layer, what the view draws into it, and views above it, the first one
/// lowest. Owns them. Belongs to no toolkit: a host draws it, or makes one of its own widgets like
/// it. For the user interface's thread alone.
class KELM_API View {
 public:
  View() : View(Rect{}) {}
  /// Opaque, without a background.
  explicit View(const Rect& frame, std::shared_ptr<Layer> layer = std::make_shared<Layer>());
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  const std::shared_ptr<Layer>& layer() const { return layer_; }
  std::vector<std::shared_ptr<View>> subviews;

  /// These are the layer's.
  const Rect& frame() const { return layer_->frame(); }
  void setFrame(const Rect& frame) { layer_->setFrame(frame); }
  Rect bounds() const { return layer_->bounds(); }
  const AffineTransform& transform() const { return layer_->transform; }
  void setTransform(const AffineTransform& transform) { layer_->transform = transform; }
  const std::optional<Colour>& backgroundColour() const { return layer_->backgroundColour; }
  void setBackgroundColour(std::optional<Colour> colour) { layer_->backgroundColour = colour; }
  bool isOpaque() const { return layer_->isOpaque; }
  void setOpaque(bool opaque) { layer_->isOpaque = opaque; }
  bool clipsToBounds() const { return layer_->masksToBounds; }
  void setClipsToBounds(bool clips) { layer_->masksToBounds = clips; }
  bool needsDisplay() const { return layer_->needsDisplay(); }
  void setNeedsDisplay() { layer_->setNeedsDisplay(); }

  /// Draws the view's own content, above its background and below everything else, in its own
  /// coordinates; `rect` is what has to be drawn. This one draws nothing.
  virtual void drawRect(const Rect& rect, DrawingContext& context) const;

 private:
  std::shared_ptr<Layer> layer_;
};

/// Draws the view, its layers and its views, in the coordinates of what is above it; then nothing
/// of it needs to be displayed any more.
KELM_API void drawView(const View& view, DrawingContext& context);
/// The same in the view's own coordinates: without its place and its transform.
KELM_API void drawViewInside(const View& view, DrawingContext& context);

}  // namespace kelm
