#include "kelm/platform/linux/graphics/cairo_context.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>

#include "kelm/platform/graphics/pixels/convert.h"
#include "kelm/platform/graphics/pixels/turn.h"
#include "kelm/platform/linux/graphics/text_line.h"

namespace kelm::platform::linux_graphics {
namespace {

struct DestroyPattern {
  void operator()(cairo_pattern_t* pattern) const { cairo_pattern_destroy(pattern); }
};
using Pattern = std::unique_ptr<cairo_pattern_t, DestroyPattern>;

/// Cairo counts 256ths of pixels in 32 bits; what is this far away is not seen.
constexpr double kFarthest = 4e6;

bool areUsable(std::initializer_list<double> numbers) {
  return std::all_of(numbers.begin(), numbers.end(),
                     [](double number) { return std::abs(number) <= kFarthest; });
}

double part(double component) {
  return component > 0 ? std::min(component, 1.0) : 0;  // NaN too
}

cairo_operator_t operatorOf(BlendMode mode) {
  switch (mode) {
    case BlendMode::Multiply:
      return CAIRO_OPERATOR_MULTIPLY;
    case BlendMode::Screen:
      return CAIRO_OPERATOR_SCREEN;
    case BlendMode::Overlay:
      return CAIRO_OPERATOR_OVERLAY;
    case BlendMode::Normal:
      break;
  }
  return CAIRO_OPERATOR_OVER;
}

cairo_matrix_t matrixOf(const AffineTransform& transform) {
  return {transform.a, transform.b, transform.c, transform.d, transform.tx, transform.ty};
}

/// The picture as a pattern that borrows its pixels, which outlive it.
Pattern patternOf(const Image& image) {
  const bool isGray = image.format() == PixelFormat::Gray8;
  // Cairo never writes to what is a source only.
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      const_cast<unsigned char*>(image.pixels()), isGray ? CAIRO_FORMAT_A8 : CAIRO_FORMAT_ARGB32,
      image.width(), image.height(), static_cast<int>(image.stride()));
  Pattern pattern(cairo_pattern_create_for_surface(surface));
  cairo_surface_destroy(surface);
  return pattern;
}

/// The picture as its orientation says, in pixels that Cairo draws as meant.
std::optional<Image> drawable(const Image& image, Orientation orientation, bool isMask) {
  const auto upright = pixels::turned(image, orientation);
  return upright && !isMask ? pixels::coloured(*upright) : upright;
}

}  // namespace

CairoContext::CairoContext(PixelBuffer& buffer, double scale)
    : surface_(cairo_image_surface_create_for_data(buffer.row(0), CAIRO_FORMAT_ARGB32,
                                                   buffer.width(), buffer.height(),
                                                   static_cast<int>(buffer.stride()))),
      cairo_(cairo_create(surface_)) {
  cairo_scale(cairo_, scale, scale);
}

CairoContext::~CairoContext() {
  while (states_.size() > 1)
    pop();
  cairo_destroy(cairo_);
  cairo_surface_finish(surface_);
  cairo_surface_destroy(surface_);
}

void CairoContext::push(State::Opened opened) {
  states_.push_back(states_.back());
  state().opened = opened;
  state().layer = nullptr;
}

void CairoContext::save() {
  cairo_save(cairo_);
  push(State::Opened::Save);
}

void CairoContext::restore() {
  if (state().opened == State::Opened::Save) pop();
}

void CairoContext::beginLayer() {
  save();
  cairo_push_group(cairo_);
  push(State::Opened::Layer);
  state().alpha = 1;
  setBlendMode(BlendMode::Normal);
}

void CairoContext::beginMask() {
  while (state().opened == State::Opened::Save)
    pop();
  if (state().opened != State::Opened::Layer) return;
  state().layer = cairo_pop_group(cairo_);
  cairo_push_group(cairo_);
  state().opened = State::Opened::Mask;
  state().isMask = true;
  state().alpha = 1;
  setBlendMode(BlendMode::Normal);
}

void CairoContext::endLayer() {
  while (state().opened == State::Opened::Save)
    pop();
  if (state().opened != State::Opened::Nothing) pop();
}

void CairoContext::pop() {
  const State ended = state();
  states_.pop_back();
  if (ended.opened == State::Opened::Save) {
    cairo_restore(cairo_);
    return;
  }
  const Pattern drawn(cairo_pop_group(cairo_));
  if (ended.opened == State::Opened::Mask) {
    // Masks take one alpha only; that of the state goes into the layer.
    const Pattern layer(ended.layer);
    cairo_push_group(cairo_);
    cairo_set_operator(cairo_, CAIRO_OPERATOR_OVER);
    cairo_set_source(cairo_, layer.get());
    cairo_paint_with_alpha(cairo_, state().alpha);
    cairo_pop_group_to_source(cairo_);
    if (isDrawing()) cairo_mask(cairo_, drawn.get());
  } else if (isDrawing()) {
    cairo_set_source(cairo_, drawn.get());
    cairo_paint_with_alpha(cairo_, state().alpha);
  }
  restore();  // what beginLayer() saved
}

void CairoContext::concatenate(const AffineTransform& transform) {
  const double area = transform.determinant();
  // A tiny area would make of it a matrix that cannot be inverted.
  if (!areUsable(
          {transform.a, transform.b, transform.c, transform.d, transform.tx, transform.ty}) ||
      std::abs(area) < 1e-12) {
    state().isNothing = true;
    return;
  }
  const cairo_matrix_t before = [&] {
    cairo_matrix_t matrix;
    cairo_get_matrix(cairo_, &matrix);
    return matrix;
  }();
  const cairo_matrix_t matrix = matrixOf(transform);
  cairo_matrix_t both;
  cairo_matrix_multiply(&both, &matrix, &before);
  if (!areUsable({both.xx, both.yx, both.xy, both.yy, both.x0, both.y0}) ||
      std::abs(both.xx * both.yy - both.xy * both.yx) < 1e-12) {
    state().isNothing = true;
    return;
  }
  cairo_set_matrix(cairo_, &both);
}

/// Replaces the path. False, without one, if nothing of it could be seen.
bool CairoContext::addRoundedRect(const Rect& given, const CornerRadii& wanted) {
  cairo_new_path(cairo_);
  const Rect rect = given.standardized();
  if (rect.isEmpty() || !areUsable({rect.x, rect.y, rect.width, rect.height})) return false;
  const CornerRadii radii = wanted.fitting(rect.width, rect.height);
  if (radii == CornerRadii{}) {
    cairo_rectangle(cairo_, rect.x, rect.y, rect.width, rect.height);
    return true;
  }
  constexpr double kQuarter = std::numbers::pi / 2;
  const auto corner = [&](double x, double y, double radius, int quarter) {
    cairo_arc(cairo_, x, y, radius, quarter * kQuarter, (quarter + 1) * kQuarter);
  };
  corner(rect.x + radii.topLeft, rect.y + radii.topLeft, radii.topLeft, 2);
  corner(rect.maxX() - radii.topRight, rect.y + radii.topRight, radii.topRight, 3);
  corner(rect.maxX() - radii.bottomRight, rect.maxY() - radii.bottomRight, radii.bottomRight, 0);
  corner(rect.x + radii.bottomLeft, rect.maxY() - radii.bottomLeft, radii.bottomLeft, 1);
  cairo_close_path(cairo_);
  return true;
}

void CairoContext::clipToRoundedRect(const Rect& rect, const CornerRadii& radii) {
  if (!isDrawing()) return;
  if (!addRoundedRect(rect, radii)) {
    state().isNothing = true;
    return;
  }
  cairo_clip(cairo_);
}

void CairoContext::setBlendMode(BlendMode mode) {
  state().mode = mode;
  cairo_set_operator(cairo_, operatorOf(mode));
}

void CairoContext::setAlpha(double alpha) { state().alpha = part(alpha); }

void CairoContext::setColour(const Colour& colour) {
  cairo_set_source_rgba(cairo_, part(colour.red), part(colour.green), part(colour.blue),
                        part(colour.alpha) * state().alpha);
}

void CairoContext::fillRoundedRect(const Rect& rect, const CornerRadii& radii,
                                   const Colour& colour) {
  if (!isDrawing() || !addRoundedRect(rect, radii)) return;
  setColour(colour);
  cairo_fill(cairo_);
}

void CairoContext::fillPolygon(std::span<const Point> points, const Colour& colour) {
  const bool isUsable = std::all_of(points.begin(), points.end(), [](Point point) {
    return areUsable({point.x, point.y});
  });
  if (!isDrawing() || !isUsable) return;
  cairo_new_path(cairo_);
  for (const Point point : points)
    cairo_line_to(cairo_, point.x, point.y);
  cairo_close_path(cairo_);
  setColour(colour);
  cairo_fill(cairo_);
}

void CairoContext::fillGradient(const Gradient& gradient) {
  const auto& [colours, locations, start, end] = gradient;
  if (!isDrawing() || colours.empty() || !areUsable({start.x, start.y, end.x, end.y})) return;
  const Pattern line(cairo_pattern_create_linear(start.x, start.y, end.x, end.y));
  const std::size_t count =
      locations.empty() ? colours.size() : std::min(colours.size(), locations.size());
  for (std::size_t i = 0; i < count; ++i) {
    const double even = count > 1 ? static_cast<double>(i) / static_cast<double>(count - 1) : 0;
    const Colour& colour = colours[i];
    cairo_pattern_add_color_stop_rgba(line.get(), locations.empty() ? even : part(locations[i]),
                                      part(colour.red), part(colour.green), part(colour.blue),
                                      part(colour.alpha));
  }
  cairo_set_source(cairo_, line.get());
  cairo_paint_with_alpha(cairo_, state().alpha);
}

void CairoContext::drawImage(const Image& image, const Rect& given) {
  const Rect rect = given.standardized();
  if (!isDrawing() || rect.isEmpty() || !areUsable({rect.x, rect.y, rect.width, rect.height}))
    return;
  const auto shown = drawable(image, image.orientation(), state().isMask);
  if (!shown) return;
  const Pattern pattern = patternOf(*shown);
  save();
  concatenate(AffineTransform::scaling(rect.width / shown->width(), rect.height / shown->height())
                  .then(AffineTransform::translation(rect.x, rect.y)));
  if (isDrawing()) {
    // Edges stay sharp, as those of a rectangle, instead of fading into what is beyond.
    cairo_pattern_set_extend(pattern.get(), CAIRO_EXTEND_PAD);
    cairo_new_path(cairo_);
    cairo_rectangle(cairo_, 0, 0, shown->width(), shown->height());
    cairo_clip(cairo_);
    cairo_set_source(cairo_, pattern.get());
    cairo_paint_with_alpha(cairo_, state().alpha);
  }
  restore();
}

void CairoContext::drawTiledImage(const Image& image, const Rect& given) {
  const Rect tile = given.standardized();
  if (!isDrawing() || tile.isEmpty() || !areUsable({tile.x, tile.y, tile.width, tile.height}))
    return;
  const auto shown = drawable(image, Orientation::Up, state().isMask);
  if (!shown) return;
  const Pattern pattern = patternOf(*shown);
  const double across = shown->width() / tile.width;
  const double down = shown->height() / tile.height;
  const cairo_matrix_t toPixels = {across, 0, 0, -down, -tile.x * across, tile.maxY() * down};
  cairo_pattern_set_matrix(pattern.get(), &toPixels);
  cairo_pattern_set_extend(pattern.get(), CAIRO_EXTEND_REPEAT);
  const bool isExact = across == 1 && down == 1;
  cairo_pattern_set_filter(pattern.get(), isExact ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_GOOD);
  cairo_set_source(cairo_, pattern.get());
  cairo_paint_with_alpha(cairo_, state().alpha);
}

void CairoContext::drawText(std::string_view text, const Font& font, const Colour& colour,
                            Point origin) {
  if (!isDrawing() || !areUsable({origin.x, origin.y})) return;
  setColour(colour);
  TextLine(text, font).draw(cairo_, origin);
}

Size CairoContext::sizeOfText(std::string_view text, const Font& font) {
  return TextLine(text, font).size();
}

}  // namespace kelm::platform::linux_graphics
