#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/utf16.h"
#include "kelm/base/value.h"

// Small operations on lists, data, texts and dictionaries. Pure functions of their arguments.
namespace kelm {

/// `countInt` The number of elements, its lowest 32 bits.
inline std::int32_t countInt(std::span<const Value> list) {
  return static_cast<std::int32_t>(list.size());
}
/// `countUnsignedInt` The number of elements, its lowest 32 bits.
inline std::uint32_t countUnsignedInt(std::span<const Value> list) {
  return static_cast<std::uint32_t>(list.size());
}
/// `lengthInt` The number of bytes, its lowest 32 bits.
inline std::int32_t lengthInt(DataView data) { return static_cast<std::int32_t>(data.size()); }
/// `lengthUnsignedInt` The number of bytes, its lowest 32 bits.
inline std::uint32_t lengthUnsignedInt(DataView data) {
  return static_cast<std::uint32_t>(data.size());
}
/// `lengthInt` The number of UTF-16 code units, its lowest 32 bits.
inline std::int32_t lengthInt(std::string_view text) {
  return static_cast<std::int32_t>(utf16Length(text));
}
/// `lengthUnsignedInt` The number of UTF-16 code units, its lowest 32 bits.
inline std::uint32_t lengthUnsignedInt(std::string_view text) {
  return static_cast<std::uint32_t>(utf16Length(text));
}

/// `substringFromMarkerString:` The text after the first `marker`, to the end. Raises
/// NSRangeException if the marker is not there; an empty one never is.
KELM_API std::string substringFromMarkerString(std::string_view text, std::string_view marker);

/// `substringFromMarkerString:toMarkerString:` The text between the end of the first `start` and
/// the first `end` of the whole text. Raises NSRangeException if a marker is not there or the first
/// `end` lies before the end of `start`.
KELM_API std::string substringFromMarkerString_toMarkerString(std::string_view text,
                                                              std::string_view start,
                                                              std::string_view end);

/// `setOptionalObject:forKey:` Stores the value; an absent one leaves the dictionary unchanged.
KELM_API void setOptionalObject_forKey(Dictionary& dictionary, std::optional<Value> value,
                                       std::string_view key);

}  // namespace kelm
