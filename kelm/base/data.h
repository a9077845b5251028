#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelm {

/// An owned byte buffer, and a view of one that is passed in. Text and bytes convert by copying
/// the bytes as they are: no encoding is checked.
using Data = std::vector<std::uint8_t>;
using DataView = std::span<const std::uint8_t>;

inline DataView bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline Data dataOf(std::string_view text) { return {text.begin(), text.end()}; }
inline std::string_view textOf(DataView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
inline void append(Data& to, DataView bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }
inline void append(Data& to, std::string_view text) { append(to, bytesOf(text)); }

/// The size of the chunks in which a producer fills a stack buffer that is then appended to a
/// `Data`: growing the vector first would write every byte of it twice (once as zero).
inline constexpr std::size_t kAppendChunkBytes = 16384;

}  // namespace kelm
