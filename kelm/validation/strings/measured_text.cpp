#include "kelm/validation/strings/measured_text.h"

#include <hb.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "kelm/base/mutex.h"
#include "kelm/base/utf16.h"

namespace kelm {
namespace {

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct FreeDescription {
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
struct FreeOptions {
  void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
};
struct FreeAttributes {
  void operator()(PangoAttrList* attributes) const { pango_attr_list_unref(attributes); }
};
struct FreeIterator {
  void operator()(PangoLayoutIter* iterator) const { pango_layout_iter_free(iterator); }
};
using Context = std::unique_ptr<PangoContext, Unref>;
using FontDescription = std::unique_ptr<PangoFontDescription, FreeDescription>;

/// A context whose sizes are points and not rounded to pixels.
Context unhintedContext() {
  static PangoFontMap* const fonts = [] {
    PangoFontMap* map = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
    pango_cairo_font_map_set_resolution(PANGO_CAIRO_FONT_MAP(map), 72);
    return map;
  }();
  Context context(pango_font_map_create_context(fonts));
  const std::unique_ptr<cairo_font_options_t, FreeOptions> options(cairo_font_options_create());
  cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
  pango_cairo_context_set_font_options(context.get(), options.get());
  pango_context_set_round_glyph_positions(context.get(), FALSE);
  return context;
}

FontDescription fontDescription(const std::string& name, double size) {
  FontDescription description(pango_font_description_from_string(name.c_str()));
  pango_font_description_set_absolute_size(description.get(), size * PANGO_SCALE);
  return description;
}

/// Words that are broken get no hyphen.
void setWithoutHyphens(PangoLayout* layout) {
  const std::unique_ptr<PangoAttrList, FreeAttributes> attributes(pango_attr_list_new());
  pango_attr_list_insert(attributes.get(), pango_attr_insert_hyphens_new(FALSE));
  pango_layout_set_attributes(layout, attributes.get());
}

int lineGap(PangoContext* context, const PangoFontDescription* description) {
  const std::unique_ptr<PangoFont, Unref> font(pango_context_load_font(context, description));
  hb_font_extents_t extents{};
  if (font) hb_font_get_h_extents(pango_font_get_hb_font(font.get()), &extents);
  return extents.line_gap;
}

/// In Pango's units, or -1, its sign for no bound.
int lineWidth(double width) {
  constexpr double kMost = double{std::numeric_limits<int>::max()} / PANGO_SCALE;
  return width > 0 && width < kMost ? static_cast<int>(width * PANGO_SCALE) : -1;
}

Size sizeOfLines(PangoLayout* layout, double within, int gap) {
  const std::unique_ptr<PangoLayoutIter, FreeIterator> line(pango_layout_get_iter(layout));
  std::int64_t width = 0;
  std::int64_t height = 0;
  do {
    PangoRectangle extents;
    pango_layout_iter_get_line_extents(line.get(), nullptr, &extents);
    const std::int64_t below = height + extents.height + gap;
    const bool fits = !(within > 0) || static_cast<double>(below) <= within * PANGO_SCALE;
    if (height > 0 && !fits) break;
    width = std::max<std::int64_t>(width, extents.width);
    height = below;
  } while (pango_layout_iter_next_line(line.get()));
  return {static_cast<double>(width) / PANGO_SCALE, static_cast<double>(height) / PANGO_SCALE};
}

/// Pango counts in 31 bits, 1024 to the point, and the fonts' library refuses huge sizes: the size
/// at which a text of so many units is surely within, the font's own wherever that is.
double safeFontSize(double size, std::size_t units) {
  constexpr double kMostSize = 1000;
  constexpr double kMostPoints = 1e6;
  return std::min(std::clamp(size, 1.0, kMostSize),
                  kMostPoints / static_cast<double>(std::max<std::size_t>(units, 1)));
}

}  // namespace

Size measuredText(std::string_view text, const Font& font, Size within, bool hasLeading) {
  if (!(font.size > 0) || !std::isfinite(font.size)) return {};
  std::string sound = repairedUtf8(text);
  std::erase(sound, '\0');  // would end the text
  constexpr std::size_t kMostBytes = std::numeric_limits<int>::max() / 4;
  if (sound.size() > kMostBytes) sound.resize(utf16ByteOffset(sound, kMostBytes / 3));
  const double used = safeFontSize(font.size, utf16Length(sound));
  const double scale = font.size / used;

  static Mutex& mutex = *new Mutex;  // the font map serves one thread at a time
  const Lock lock(mutex);
  const Context context = unhintedContext();
  const FontDescription description = fontDescription(font.name, used);
  const std::unique_ptr<PangoLayout, Unref> layout(pango_layout_new(context.get()));
  pango_layout_set_font_description(layout.get(), description.get());
  pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
  pango_layout_set_width(layout.get(), lineWidth(within.width / scale));
  setWithoutHyphens(layout.get());
  pango_layout_set_text(layout.get(), sound.data(), static_cast<int>(sound.size()));
  const int gap = hasLeading ? lineGap(context.get(), description.get()) : 0;
  const Size size = sizeOfLines(layout.get(), within.height / scale, gap);
  return {size.width * scale, size.height * scale};
}

}  // namespace kelm
