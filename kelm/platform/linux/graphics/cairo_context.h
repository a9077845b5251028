#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "kelm/platform/graphics/drawing_context.h"

namespace kelm::platform::linux_graphics {

/// Draws into a buffer, which outlives it, with Cairo. Cairo stops for ever at the first number
/// that it cannot take; so none such reaches it.
class CairoContext : public DrawingContext {
 public:
  CairoContext(PixelBuffer& buffer, double scale);
  ~CairoContext() override;
  CairoContext(const CairoContext&) = delete;
  CairoContext& operator=(const CairoContext&) = delete;

  void save() override;
  void restore() override;
  void concatenate(const AffineTransform& transform) override;
  void clipToRoundedRect(const Rect& rect, const CornerRadii& radii) override;
  void setBlendMode(BlendMode mode) override;
  void setAlpha(double alpha) override;
  void fillRoundedRect(const Rect& rect, const CornerRadii& radii, const Colour& colour) override;
  void fillPolygon(std::span<const Point> points, const Colour& colour) override;
  void fillGradient(const Gradient& gradient) override;
  void drawImage(const Image& image, const Rect& rect) override;
  void drawTiledImage(const Image& image, const Rect& tile) override;
  void drawText(std::string_view text, const Font& font, const Colour& colour,
                Point origin) override;
  Size sizeOfText(std::string_view text, const Font& font) override;
  void beginLayer() override;
  void beginMask() override;
  void endLayer() override;

 private:
  struct State {
    enum class Opened : std::uint8_t { Nothing, Save, Layer, Mask };
    Opened opened = Opened::Nothing;
    double alpha = 1;
    BlendMode mode = BlendMode::Normal;
    bool isMask = false;               ///< gray pictures count as alpha
    bool isNothing = false;            ///< a transform has left no area
    cairo_pattern_t* layer = nullptr;  ///< what a mask will be applied to; owned
  };
  State& state() { return states_.back(); }
  bool isDrawing() const { return !states_.back().isNothing; }
  void push(State::Opened opened);
  void pop();
  bool addRoundedRect(const Rect& rect, const CornerRadii& radii);
  void setColour(const Colour& colour);
  void fillWithPattern(cairo_pattern_t* pattern);

  cairo_surface_t* surface_;
  cairo_t* cairo_;
  std::vector<State> states_{State()};
};

}  // namespace kelm::platform::linux_graphics
