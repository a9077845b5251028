#include "kelm/platform/linux/codecs/exif.h"

#include <algorithm>
#include <array>

namespace kelm::platform::codecs {
namespace {

constexpr std::uint32_t kOrientationTag = 0x0112;
constexpr std::uint32_t kShort = 3;
constexpr std::size_t kEntryBytes = 12;
/// The orientations that EXIF's numbers 1 to 8 stand for.
constexpr std::array<Orientation, 8> kOrientations = {Orientation::Up,
                                                      Orientation::UpMirrored,
                                                      Orientation::Down,
                                                      Orientation::DownMirrored,
                                                      Orientation::LeftMirrored,
                                                      Orientation::Right,
                                                      Orientation::RightMirrored,
                                                      Orientation::Left};

class Tiff {
 public:
  explicit Tiff(DataView bytes) : bytes_(bytes), isLittle_(!bytes.empty() && bytes[0] == 'I') {}

  std::uint32_t number(std::size_t at, std::size_t count) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t place = at + (isLittle_ ? count - 1 - i : i);
      value = value << 8 | (place < bytes_.size() ? bytes_[place] : 0U);
    }
    return value;
  }

 private:
  DataView bytes_;
  bool isLittle_;
};

}  // namespace

Orientation orientationOf(DataView exif) {
  const std::string_view start = textOf(exif.first(std::min<std::size_t>(exif.size(), 4)));
  if (start != std::string_view("II*\0", 4) && start != std::string_view("MM\0*", 4))
    return Orientation::Up;
  const Tiff tiff(exif);
  const std::size_t directory = tiff.number(4, 4);
  const std::size_t count = tiff.number(directory, 2);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = directory + 2 + i * kEntryBytes;
    if (entry + kEntryBytes > exif.size()) break;
    if (tiff.number(entry, 2) != kOrientationTag || tiff.number(entry + 2, 2) != kShort) continue;
    const std::uint32_t value = tiff.number(entry + 8, 2);
    return value >= 1 && value <= 8 ? kOrientations[value - 1] : Orientation::Up;
  }
  return Orientation::Up;
}

Data exifWith(Orientation orientation) {
  const auto* place = std::find(kOrientations.begin(), kOrientations.end(), orientation);
  const auto value = static_cast<std::uint8_t>(place - kOrientations.begin() + 1);
  return {'M', 'M',  0, 42, 0, 0, 0, 8,                               // the directory follows
          0,   1,                                                     // of one entry
          1,   0x12, 0, 3,  0, 0, 0, 1, 0, value, 0, 0, 0, 0, 0, 0};  // no other directory
}

}  // namespace kelm::platform::codecs
