#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "kelm/base/data.h"

// The distinguished encoding rules (ITU-T X.690), as far as keys and certificates need them.
namespace kelm {

namespace der_tag {
inline constexpr std::uint8_t kBoolean = 0x01;
inline constexpr std::uint8_t kInteger = 0x02;
inline constexpr std::uint8_t kOctetString = 0x04;
inline constexpr std::uint8_t kObjectIdentifier = 0x06;
inline constexpr std::uint8_t kSequence = 0x30;
}  // namespace der_tag

/// Takes the elements of a content one after another. Every length must have its shortest form.
class DerReader {
 public:
  explicit DerReader(DataView content) : rest_(content) {}

  bool atEnd() const { return rest_.empty(); }
  /// The first byte of the next element's tag; absent at the end.
  std::optional<std::uint8_t> nextTag() const;
  /// Takes the next element, of any tag, and returns its content. Absent when malformed.
  std::optional<DataView> take();
  /// Takes the next element if it has this tag.
  std::optional<DataView> take(std::uint8_t tag);
  /// Takes an INTEGER of at least 0: its bytes without the sign's zero, none for 0.
  std::optional<DataView> takeUnsigned();

 private:
  DataView rest_;
};

/// True if `bytes` are exactly one element, and all in it is DER: also what extensions hold.
bool isDer(DataView bytes);

void appendDerLength(Data& der, std::size_t length);
/// Appends an INTEGER from the bytes of an unsigned number without leading zeros.
void appendDerUnsigned(Data& der, DataView number);

}  // namespace kelm
