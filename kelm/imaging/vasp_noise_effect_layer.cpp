#include "kelm/imaging/vasp_noise_effect_layer.h"

#include <array>
#include <cmath>
#include <utility>

#include "kelm/platform/graphics/screen.h"

namespace kelm {
namespace {

constexpr std::uint32_t kSeed = 124;
constexpr double kTileSide = 75;
constexpr double kFactor = 1.7;
constexpr double kDefaultOpacity = 0.04F;  // single precision

/// The numbers of glibc's rand(): each word is the sum of those 3 and 31 places before it.
class GlibcRandom {
 public:
  explicit GlibcRandom(std::uint32_t seed) {
    std::int64_t word = seed;
    for (std::uint32_t& number : last_) {
      number = static_cast<std::uint32_t>(word);
      word = word * 16807 % 2147483647;
    }
    // The library throws ten rounds away.
    for (int i = 0; i < 310; ++i)
      next();
  }

  std::uint32_t next() {
    const std::size_t third = (at_ + kLength - 3) % kLength;
    last_[at_] += last_[third];
    const std::uint32_t number = last_[at_] >> 1;
    at_ = (at_ + 1) % kLength;
    return number;
  }

 private:
  static constexpr std::size_t kLength = 31;
  std::array<std::uint32_t, kLength> last_;
  std::size_t at_ = 3;
};

std::uint8_t grain(std::uint32_t random, double factor) {
  const double value = random % 256 * factor;
  if (!(value > 0)) return 0;  // NaN too
  return value < 255 ? static_cast<std::uint8_t>(value) : 255;
}

const std::optional<Image>& sharedTile() {
  // The language's own lock makes it once; it is never released.
  static const std::optional<Image>& tile =
      *new std::optional(VaspNoiseEffectLayer::newCGGenerateNoiseImageWithSize_andFactor(
          {kTileSide, kTileSide}, kFactor));
  return tile;
}

}  // namespace

VaspNoiseEffectLayer::VaspNoiseEffectLayer(std::optional<Image> pattern)
    : noiseOpacity_(kDefaultOpacity) {
  contentsScale = platform::current<platform::Screen>()->mainScreen().scale;
  needsDisplayOnBoundsChange = true;
  if (!pattern) {
    sharedTile();
    return;
  }
  pattern_ = std::move(pattern);
  const Size size = pattern_->size();
  noiseWidth_ = size.width;
  noiseHeight_ = size.height;
  noiseOpacity_ = 1;
}

std::shared_ptr<VaspNoiseEffectLayer> VaspNoiseEffectLayer::initWithPattern(
    std::optional<Image> pattern) {
  return std::shared_ptr<VaspNoiseEffectLayer>(new VaspNoiseEffectLayer(std::move(pattern)));
}

std::shared_ptr<VaspNoiseEffectLayer> VaspNoiseEffectLayer::initWithPattern(Null) {
  return initWithPattern(std::optional<Image>());
}

void VaspNoiseEffectLayer::drawInContext(DrawingContext& context) const {
  Layer::drawInContext(context);
  const std::optional<Image>& tile = pattern_ ? pattern_ : sharedTile();
  if (!(noiseOpacity_ > 0) || !tile) return;
  const Size size =
      pattern_ ? Size{noiseWidth_, noiseHeight_} : Size{tile->width() * 1.0, tile->height() * 1.0};
  context.save();
  context.clipToRoundedRect(bounds(), CornerRadii::all(cornerRadius));
  context.setBlendMode(BlendMode::Overlay);
  context.setAlpha(noiseOpacity_);
  context.scaleBy(1, -1);
  context.drawTiledImage(*tile, {0, 0, size.width, size.height});
  context.restore();
}

std::optional<Image> VaspNoiseEffectLayer::newCGGenerateNoiseImageWithSize_andFactor(
    Size size, double factor) {
  const double width = std::abs(size.width);
  const double height = std::abs(size.height);
  auto buffer = PixelBuffer::make(width, height, PixelFormat::Gray8);
  if (!buffer) return std::nullopt;
  GlibcRandom random(kSeed);
  for (int y = 0; y < buffer->height(); ++y)
    for (int x = 0; x < buffer->width(); ++x)
      buffer->row(y)[x] = grain(random.next(), factor);
  return std::move(*buffer).finish();
}

}  // namespace kelm
