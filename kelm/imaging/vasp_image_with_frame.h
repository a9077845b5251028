#pragma once

#include <optional>
#include <utility>

#include "kelm/base/export.h"
#include "kelm/platform/graphics/geometry.h"
#include "kelm/platform/graphics/image.h"

namespace kelm {

/// Holds a picture, or none, and a frame.
class KELM_API VaspImageWithFrame {
 public:
  /// `image`
  const std::optional<Image>& image() const { return image_; }
  /// `setImage:`
  void setImage(std::optional<Image> image) { image_ = std::move(image); }
  /// `frame`
  const Rect& frame() const { return frame_; }
  /// `setFrame:`
  void setFrame(const Rect& frame) { frame_ = frame; }

 private:
  std::optional<Image> image_;
  Rect frame_;
};

}  // namespace kelm
