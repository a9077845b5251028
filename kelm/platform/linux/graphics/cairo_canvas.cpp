#include <cmath>
#include <utility>

#include "kelm/platform/graphics/canvas.h"
#include "kelm/platform/linux/graphics/cairo_context.h"

namespace kelm::platform {
namespace {

constexpr double kLongestSide = 32767;  // of Cairo's surfaces

class CairoCanvas : public Canvas {
 public:
  std::optional<Image> draw(Size size, double scale, const Drawing& drawing) override {
    if (!(scale > 0 && size.width > 0 && size.height > 0)) return std::nullopt;
    // A whole number that rounding has put just above it stays that number.
    const double width = std::ceil(size.width * scale - 1e-6);
    const double height = std::ceil(size.height * scale - 1e-6);
    if (!(width <= kLongestSide && height <= kLongestSide)) return std::nullopt;
    auto buffer = PixelBuffer::make(width, height);
    if (!buffer) return std::nullopt;
    buffer->fill(0U);
    {
      linux_graphics::CairoContext context(*buffer, scale);
      drawing(context);
    }
    return std::move(*buffer).finish(scale);
  }
};

}  // namespace

std::shared_ptr<Canvas> Canvas::makeSystem() { return std::make_shared<CairoCanvas>(); }

}  // namespace kelm::platform
