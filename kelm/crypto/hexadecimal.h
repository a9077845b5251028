#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

#include "kelm/base/data.h"

namespace kelm {

/// The two digits of each byte.
using HexTable = std::array<std::array<char, 2>, 256>;

constexpr HexTable makeHexTable(const char (&digits)[17]) {
  HexTable table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte)
    table[byte] = {digits[byte >> 4], digits[byte & 15]};
  return table;
}

inline constexpr HexTable kLowerHex = makeHexTable("0123456789abcdef");
inline constexpr HexTable kUpperHex = makeHexTable("0123456789ABCDEF");

inline std::string hexText(DataView bytes, const HexTable& table) {
  std::string text(bytes.size() * 2, '\0');
  char* end = text.data();
  const auto put = [&end, &table](std::uint8_t byte) {
    std::memcpy(end, table[byte].data(), 2);
    end += 2;
  };
  for (; bytes.size() >= 4; bytes = bytes.subspan(4)) {  // unrolled, for speed
    put(bytes[0]);
    put(bytes[1]);
    put(bytes[2]);
    put(bytes[3]);
  }
  for (const std::uint8_t byte : bytes)
    put(byte);
  return text;
}

}  // namespace kelm
