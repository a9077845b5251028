#include "kelm/platform/graphics/image_codec.h"

#include <algorithm>
#include <atomic>

#include "kelm/platform/linux/codecs/formats.h"

namespace kelm::platform {
namespace {

class LibraryCodec : public ImageCodec {
 public:
  void setLimits(const ImageLimits& limits) override {
    pixels_ = limits.pixels;
    bytes_ = limits.bytes;
  }

  std::optional<Image> decode(DataView bytes) override {
    const ImageLimits limits = {pixels_, bytes_};
    if (codecs::isPng(bytes)) return codecs::decodePng(bytes, limits);
    if (codecs::isJpeg(bytes)) return codecs::decodeJpeg(bytes, limits);
    if (codecs::isWebP(bytes)) return codecs::decodeWebP(bytes, limits);
    return std::nullopt;
  }

  std::optional<Data> encode(const Image& image, ImageFormat format,
                             const EncodingOptions& given) override {
    EncodingOptions options = given;
    options.quality = std::clamp(options.quality, 0, 100);
    switch (format) {
      case ImageFormat::Png:
        return codecs::encodePng(image);
      case ImageFormat::Jpeg:
        return codecs::encodeJpeg(image, std::max(options.quality, 1));
      case ImageFormat::WebP:
        return codecs::encodeWebP(image, options);
    }
    return std::nullopt;
  }

 private:
  std::atomic<std::uint64_t> pixels_{ImageLimits().pixels};
  std::atomic<std::uint64_t> bytes_{ImageLimits().bytes};
};

}  // namespace

std::shared_ptr<ImageCodec> ImageCodec::makeSystem() { return std::make_shared<LibraryCodec>(); }

}  // namespace kelm::platform
