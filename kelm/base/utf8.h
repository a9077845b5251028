#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace kelm {

inline constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// How many bytes from `at` on are ASCII, counted in whole steps of eight.
inline std::size_t asciiRun(std::string_view text, std::size_t at) {
  const std::size_t start = at;
  for (std::uint64_t word; text.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    if (word & 0x8080808080808080) break;
  }
  return at - start;
}

/// The length of the well-formed sequence (RFC 3629) at byte `at`; 0 when there is none.
inline std::size_t sequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const auto follows = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
  const std::size_t left = text.size() - at;
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  if (lead < 0xE0) return left >= 2 && follows(1) ? 2 : 0;
  if (lead < 0xF0) {
    if (left < 3 || !follows(1) || !follows(2)) return 0;
    if (lead == 0xE0 && byte(1) < 0xA0) return 0;  // overlong
    if (lead == 0xED && byte(1) > 0x9F) return 0;  // a surrogate
    return 3;
  }
  if (left < 4 || !follows(1) || !follows(2) || !follows(3)) return 0;
  if (lead == 0xF0 && byte(1) < 0x90) return 0;  // overlong
  if (lead == 0xF4 && byte(1) > 0x8F) return 0;  // above U+10FFFF
  return 4;
}

}  // namespace kelm
