#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/drawing_context.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Makes pictures by drawing. Thread-safe: every picture has a context of its own.
class KELM_API Canvas {
 public:
  using Drawing = std::function<void(DrawingContext&)>;

  virtual ~Canvas() = default;
  /// Holds the one in use; `current<Canvas>()` returns it.
  static Slot<Canvas>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Canvas> makeSystem();

  /// The picture of that size in points, rounded up to whole pixels, at that many pixels a point;
  /// transparent but for what is drawn. Layers and states that are left open are closed. Absent,
  /// with nothing called, for sizes and scales that are not positive and finite, and for sides of
  /// more than 32,767 pixels; absent when there is no memory. What `drawing` throws is passed on.
  virtual std::optional<Image> draw(Size size, double scale, const Drawing& drawing) = 0;
};

}  // namespace kelm::platform
