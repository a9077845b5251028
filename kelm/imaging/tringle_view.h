#pragma once

#include <memory>
#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/view.h"

namespace kelm {

/// Paints a filled triangle that points upwards. For the user interface's thread alone.
class KELM_API TringleView : public View {
 public:
  using View::View;

  /// `initWithFrame:andColor:` An absent colour paints nothing.
  static std::shared_ptr<TringleView> initWithFrame_andColor(const Rect& frame,
                                                             std::optional<Colour> colour);
  /// `tringleColor`
  const std::optional<Colour>& tringleColor() const { return tringleColor_; }
  /// `setTringleColor:` Does not ask for a redraw.
  void setTringleColor(std::optional<Colour> colour) { tringleColor_ = colour; }
  /// `setTriangleColor:` Asks for a redraw too.
  void setTriangleColor(std::optional<Colour> colour);

  /// `drawRect:` From the middle of the rectangle's top to its lower right and lower left corner.
  void drawRect(const Rect& rect, DrawingContext& context) const override;

 private:
  std::optional<Colour> tringleColor_;
};

}  // namespace kelm
