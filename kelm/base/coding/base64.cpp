#include "kelm/base/coding/base64.h"

#include <array>

namespace kelm {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> kValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i)
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  return values;
}();

}  // namespace

void appendBase64(std::string& out, DataView bytes) {
  out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t left = bytes.size() - at;
    const unsigned group =
        bytes[at] << 16u | (left > 1 ? bytes[at + 1] << 8u : 0u) | (left > 2 ? bytes[at + 2] : 0u);
    out += kAlphabet[group >> 18];
    out += kAlphabet[group >> 12 & 63];
    out += left > 1 ? kAlphabet[group >> 6 & 63] : '=';
    out += left > 2 ? kAlphabet[group & 63] : '=';
  }
}

std::optional<Data> dataOfBase64(std::string_view text) {
  Data bytes;
  bytes.reserve(text.size() / 4 * 3);
  unsigned group = 0;
  std::size_t digits = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const int value = kValues[static_cast<unsigned char>(c)];
    if (value < 0 || padding > 0) return {};
    group = group << 6 | static_cast<unsigned>(value);
    if (++digits % 4 != 0) continue;
    for (const int shift : {16, 8, 0})
      bytes.push_back(static_cast<std::uint8_t>(group >> shift));
  }
  const std::size_t rest = digits % 4;
  if (rest == 1 || padding != (rest == 0 ? 0 : 4 - rest)) return {};
  if (rest >= 2) bytes.push_back(static_cast<std::uint8_t>(group >> (rest == 2 ? 4 : 10)));
  if (rest == 3) bytes.push_back(static_cast<std::uint8_t>(group >> 2));
  return bytes;
}

}  // namespace kelm
