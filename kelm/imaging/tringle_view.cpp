#include "kelm/imaging/tringle_view.h"

namespace kelm {

std::shared_ptr<TringleView> TringleView::initWithFrame_andColor(const Rect& frame,
                                                                 std::optional<Colour> colour) {
  auto view = std::make_shared<TringleView>(frame);
  view->setTringleColor(colour);
  return view;
}

void TringleView::setTriangleColor(std::optional<Colour> colour) {
  setTringleColor(colour);
  setNeedsDisplay();
}

void TringleView::drawRect(const Rect& rect, DrawingContext& context) const {
  if (!tringleColor_) return;
  const Point corners[] = {
      {rect.midX(), rect.minY()}, {rect.maxX(), rect.maxY()}, {rect.minX(), rect.maxY()}};
  context.fillPolygon(corners, *tringleColor_);
}

}  // namespace kelm
