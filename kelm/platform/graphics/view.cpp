#include "kelm/platform/graphics/view.h"

#include <utility>

#include "kelm/platform/graphics/layer_painter.h"

namespace kelm {
namespace {

void drawTree(const View& view, DrawingContext& context, LayerPainter& painter) {
  painter.draw(
      *view.layer(), [&] { view.drawRect(view.bounds(), context); },
      [&] {
        for (const auto& subview : view.subviews)
          if (subview) drawTree(*subview, context, painter);
      });
  view.layer()->setNeedsDisplay(false);
}

}  // namespace

View::View(const Rect& frame, std::shared_ptr<Layer> layer) : layer_(std::move(layer)) {
  layer_->setFrame(frame);
  layer_->isOpaque = true;
}

void View::drawRect(const Rect& /*rect*/, DrawingContext& /*context*/) const {}

void drawView(const View& view, DrawingContext& context) {
  LayerPainter painter(context);
  drawTree(view, context, painter);
}

void drawViewInside(const View& view, DrawingContext& context) {
  LayerPainter painter(context, true);
  drawTree(view, context, painter);
}

}  // namespace kelm
