#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/platform/graphics/image.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

enum class ImageFormat : std::uint8_t { Png, Jpeg, WebP };

/// Limits for decoding; a picture that would cost more is refused by what its header says,
/// before memory is taken for it.
struct ImageLimits {
  std::uint64_t pixels = 64ULL << 20;  ///< width times height
  /// Memory for the picture and for decoding it.
  std::uint64_t bytes = 1ULL << 30;
};

struct EncodingOptions {
  /// 0 (small) to 100 (faithful). Of JPEG, and of WebP where it is not lossless.
  int quality = 90;
  bool isLossless = true;  ///< of WebP; PNG always is, JPEG never
};

/// Pictures as files. Thread-safe.
class KELM_API ImageCodec {
 public:
  virtual ~ImageCodec() = default;
  /// Holds the one in use; `current<ImageCodec>()` returns it.
  static Slot<ImageCodec>& slot();
  /// Makes the system's own.
  static std::shared_ptr<ImageCodec> makeSystem();

  /// For all pictures that are decoded from now on.
  virtual void setLimits(const ImageLimits& limits) = 0;

  /// The picture of a PNG, JPEG or WebP file, of an animation the first one; scale 1. The
  /// orientation is that of its EXIF data, Up without; the rows are as they are in the file.
  /// Gray tones, palettes and 16 bits become 8-bit colours; CMYK becomes RGB without a profile;
  /// a PNG's gAMA becomes sRGB's unless it says that it is sRGB. Absent, without a line, for
  /// everything else: other files, damaged ones, cut ones, ones beyond the limits.
  virtual std::optional<Image> decode(DataView bytes) = 0;

  /// The file of the rows as they are in memory; an orientation other than Up is written as EXIF
  /// data. The colours of transparent pixels are lost; JPEG shows what it is over white. Absent
  /// when a side is too large for the format (JPEG 65,535, WebP 16,383 pixels) or there is no
  /// memory.
  virtual std::optional<Data> encode(const Image& image, ImageFormat format,
                                     const EncodingOptions& options = {}) = 0;
};

}  // namespace kelm::platform
