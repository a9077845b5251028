#pragma once

#include <functional>

#include "kelm/platform/graphics/layer.h"

namespace kelm {

/// Draws layers, and what a view adds to its own.
class LayerPainter {
 public:
  using Inside = std::function<void()>;

  /// `isOwnSpace`: the context has the coordinates of the first layer itself.
  explicit LayerPainter(DrawingContext& context, bool isOwnSpace = false)
      : context_(context), isOwnSpace_(isOwnSpace) {}

  /// `drawn`: what comes right above the layer's own content; `above`: above its sublayers.
  void draw(const Layer& layer, const Inside& drawn = {}, const Inside& above = {});

 private:
  void drawInside(const Layer& layer, const Inside& drawn, const Inside& above);

  void place(const Layer& layer);

  DrawingContext& context_;
  const bool isOwnSpace_;
  int depth_ = 0;
};

}  // namespace kelm
