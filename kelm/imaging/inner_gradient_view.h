#pragma once

#include <memory>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/view.h"

namespace kelm {

/// Shows a gradient layer of its own, and can be copied with it. For the user interface's thread
/// alone.
class KELM_API InnerGradientView : public View {
 public:
  using View::View;

  /// `initWithGradientView:` A view with the frame of `source` and a copy of its gradient (colours,
  /// locations and points): of its own layer if that is a GradientLayer, else of the first sublayer
  /// that is one. Empty without a source and without such a layer.
  static std::shared_ptr<InnerGradientView> initWithGradientView(
      const std::shared_ptr<const View>& source);
  /// `copyWithZone:` The same for this view: nothing else of it is copied. Empty, as above, where
  /// this view has no gradient.
  std::shared_ptr<InnerGradientView> copyWithZone() const;

 private:
  static std::shared_ptr<InnerGradientView> copyOf(const View& source);
};

}  // namespace kelm
