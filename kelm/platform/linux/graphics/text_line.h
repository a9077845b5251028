#pragma once

#include <pango/pangocairo.h>

#include <memory>
#include <mutex>
#include <string_view>

#include "kelm/platform/graphics/font.h"
#include "kelm/platform/graphics/geometry.h"

namespace kelm::platform::linux_graphics {

/// One line of text, laid out with sizes that are points and not rounded to pixels. Fonts are
/// shared by the process: a line keeps other threads waiting as long as it lives.
class TextLine {
 public:
  /// Line ends are shown as signs, malformed bytes as U+FFFD. A size that is not positive, or above
  /// 10,000 points, gives a line with nothing in it.
  TextLine(std::string_view text, const Font& font);

  Size size() const;
  /// With Cairo's source of now.
  void draw(cairo_t* cairo, Point origin) const;

 private:
  struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
  };

  std::unique_lock<std::mutex> lock_;
  std::unique_ptr<PangoLayout, Unref> layout_;
};

}  // namespace kelm::platform::linux_graphics
