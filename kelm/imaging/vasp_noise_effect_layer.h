#pragma once

#include <memory>
#include <optional>

#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/platform/graphics/layer.h"

namespace kelm {

/// Overlays what lies below with a grain, or with a tile of the caller's. Layers are for the user
/// interface's thread; the generated tile, one a process, is made once by the first layer that
/// needs it, whichever threads make layers.
class KELM_API VaspNoiseEffectLayer : public Layer {
 public:
  /// `init` With the generated tile, at an opacity of 0.04.
  VaspNoiseEffectLayer() : VaspNoiseEffectLayer(std::optional<Image>()) {}
  /// `initWithPattern:` With that tile, at its size in points and an opacity of 1; as `init`
  /// without one.
  static std::shared_ptr<VaspNoiseEffectLayer> initWithPattern(std::optional<Image> pattern);
  /// The same for the null object.
  static std::shared_ptr<VaspNoiseEffectLayer> initWithPattern(Null);

  /// `noiseOpacity` Alpha of the overlay; at 0, below it and NaN nothing is drawn.
  double noiseOpacity() const { return noiseOpacity_; }
  /// `setNoiseOpacity:`
  void setNoiseOpacity(double noiseOpacity) { noiseOpacity_ = noiseOpacity; }

  /// `drawInContext:` Draws the layer without grain, then the tile again and again from the
  /// upper left corner on, in overlay mode, within the bounds and their rounded corners.
  void drawInContext(DrawingContext& context) const override;

  /// `newCGGenerateNoiseImageWithSize:andFactor:` A gray picture of |width| by |height| pixels,
  /// rounded down: each the remainder by 256 of the next number that glibc's rand() gives after
  /// srand(124), times the factor, at most 255. The process's own rand() is left alone. A factor
  /// that is negative or NaN gives 0. Absent for a size that is no picture's (see PixelBuffer).
  static std::optional<Image> newCGGenerateNoiseImageWithSize_andFactor(Size size, double factor);

 private:
  explicit VaspNoiseEffectLayer(std::optional<Image> pattern);

  double noiseOpacity_;
  std::optional<Image> pattern_;
  double noiseWidth_ = 0;
  double noiseHeight_ = 0;
};

}  // namespace kelm
