#include "kelm/device/small_categories.h"

#include <utility>

#include "kelm/base/error.h"

namespace kelm {

namespace {

/// The byte at which the first `marker` begins.
std::size_t positionOf(std::string_view marker, std::string_view text) {
  const std::size_t at = marker.empty() ? text.npos : text.find(marker);
  if (at == text.npos)
    raiseOutOfRange(static_cast<std::size_t>(TextRange::kNotFound), utf16Length(text));
  return at;
}

}  // namespace

std::string substringFromMarkerString(std::string_view text, std::string_view marker) {
  return std::string(text.substr(positionOf(marker, text) + marker.size()));
}

std::string substringFromMarkerString_toMarkerString(std::string_view text, std::string_view start,
                                                     std::string_view end) {
  const std::size_t from = positionOf(start, text) + start.size();
  const std::size_t to = positionOf(end, text);
  if (to < from) raiseOutOfRange(utf16Length(text.substr(0, from)), utf16Length(text));
  return std::string(text.substr(from, to - from));
}

void setOptionalObject_forKey(Dictionary& dictionary, std::optional<Value> value,
                              std::string_view key) {
  if (value) dictionary.set(key, *std::move(value));
}

}  // namespace kelm
