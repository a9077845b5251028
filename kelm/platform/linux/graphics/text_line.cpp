#include "kelm/platform/linux/graphics/text_line.h"

#include <limits>
#include <string>

#include "kelm/base/utf16.h"

namespace kelm::platform::linux_graphics {
namespace {

constexpr double kLargestFont = 10'000;
constexpr std::size_t kLongestText = 1 << 20;

std::mutex& fontsMutex() {
  static std::mutex& mutex = *new std::mutex;  // also for what draws while the process ends
  return mutex;
}

PangoContext* makeContext() {
  static PangoFontMap* const fonts = [] {
    PangoFontMap* map = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
    pango_cairo_font_map_set_resolution(PANGO_CAIRO_FONT_MAP(map), 72);
    return map;
  }();
  PangoContext* context = pango_font_map_create_context(fonts);
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  pango_cairo_context_set_font_options(context, options);
  cairo_font_options_destroy(options);
  pango_context_set_round_glyph_positions(context, FALSE);
  return context;
}

}  // namespace

TextLine::TextLine(std::string_view text, const Font& font) : lock_(fontsMutex()) {
  if (!(font.size > 0 && font.size <= kLargestFont)) return;
  const std::unique_ptr<PangoContext, Unref> context(makeContext());
  layout_.reset(pango_layout_new(context.get()));
  PangoFontDescription* description = pango_font_description_from_string(font.name.c_str());
  pango_font_description_set_absolute_size(description, font.size * PANGO_SCALE);
  pango_layout_set_font_description(layout_.get(), description);
  pango_font_description_free(description);
  pango_layout_set_single_paragraph_mode(layout_.get(), TRUE);
  const std::string repaired = repairedUtf8(text.substr(0, kLongestText));
  pango_layout_set_text(layout_.get(), repaired.data(), static_cast<int>(repaired.size()));
}

Size TextLine::size() const {
  if (!layout_) return {};
  PangoRectangle logical;
  pango_layout_get_extents(layout_.get(), nullptr, &logical);
  return {static_cast<double>(logical.width) / PANGO_SCALE,
          static_cast<double>(logical.height) / PANGO_SCALE};
}

void TextLine::draw(cairo_t* cairo, Point origin) const {
  if (!layout_) return;
  cairo_move_to(cairo, origin.x, origin.y);
  pango_cairo_update_layout(cairo, layout_.get());
  pango_cairo_show_layout(cairo, layout_.get());
  cairo_new_path(cairo);
}

}  // namespace kelm::platform::linux_graphics
