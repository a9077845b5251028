// link: kelm_linux_codecs
// Any file: what is decoded is within the limits, has valid pixels, and comes back from a PNG of
// it.

#include "fuzz/support/target.h"
#include "kelm/platform/graphics/image_codec.h"

namespace kelm::fuzz {

void run(DataView input) {
  constexpr std::uint64_t kMostPixels = 1 << 16;
  auto& codec = *platform::current<platform::ImageCodec>();
  codec.setLimits({.pixels = kMostPixels, .bytes = 1 << 22});
  const std::optional<Image> image = codec.decode(input);
  if (!image) return;
  require(static_cast<std::uint64_t>(image->width()) *
              static_cast<std::uint64_t>(image->height()) <=
          kMostPixels);
  for (int y = 0; y < image->height(); ++y)
    for (int x = 0; x < image->width(); ++x) {
      const std::uint32_t pixel = image->pixel(x, y);
      for (unsigned shift = 0; shift < 24; shift += 8)
        require((pixel >> shift & 255) <= pixel >> 24);
    }
  const std::optional<Data> png = codec.encode(*image, platform::ImageFormat::Png);
  require(png && codec.decode(*png) == image);
}

}  // namespace kelm::fuzz
