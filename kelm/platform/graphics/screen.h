#pragma once

#include <memory>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/geometry.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// The main screen as the application sees it.
struct ScreenInfo {
  Size size;              ///< in points; {0, 0} where there is no screen
  double scale = 1;       ///< pixels a point
  Rect applicationFrame;  ///< in points: the part that no bar of the system covers
  Size nativeSize;        ///< in pixels of the panel, before rotation
};

/// Tells about the main screen. Thread-safe.
class KELM_API Screen {
 public:
  virtual ~Screen() = default;
  /// Holds the one in use; `current<Screen>()` returns it.
  static Slot<Screen>& slot();
  /// Makes the system's own. On Linux it asks the kernel, at each call, for the first connector
  /// with a screen, and knows no scale and no rotation: a host that does says so with
  /// `platform::use<Screen>(std::make_shared<FixedScreen>(…))`.
  static std::shared_ptr<Screen> makeSystem();

  virtual ScreenInfo mainScreen() const = 0;
};

/// The values that the host set.
class KELM_API FixedScreen : public Screen {
 public:
  explicit FixedScreen(const ScreenInfo& info) : info_(info) {}
  ScreenInfo mainScreen() const override { return info_; }

 private:
  const ScreenInfo info_;
};

}  // namespace kelm::platform
