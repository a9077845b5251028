#include "kelm/crypto/zu_string_encoder.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kelm/base/data.h"
#include "kelm/base/utf16.h"
#include "kelm/crypto/hexadecimal.h"

namespace kelm {

namespace {

/// What stands for a byte: one or three characters, and at the end how many.
using Replacement = std::array<char, 4>;
using Replacements = std::array<Replacement, 256>;

constexpr bool staysInUrl(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_' || c == '.' || c == '*';
}

constexpr Replacements makeReplacements() {
  Replacements table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    const char c = static_cast<char>(byte);
    table[byte] = staysInUrl(c) ? Replacement{c, 0, 0, 1}
                                : Replacement{'%', kUpperHex[byte][0], kUpperHex[byte][1], 3};
  }
  return table;
}

constexpr Replacements kUrl = makeReplacements();
constexpr Replacements kFormBody = [] {
  Replacements table = makeReplacements();
  table[' '] = {'+', 0, 0, 1};
  return table;
}();

std::string encode(std::string_view text, const Replacements& table) {
  std::string result;
  char chunk[kAppendChunkBytes];
  constexpr std::size_t kStep = (sizeof chunk - 1) / 3;  // each store writes four characters
  for (std::size_t at = 0; at < text.size(); at += kStep) {
    char* end = chunk;
    for (const char c : text.substr(at, kStep)) {
      const Replacement& replacement = table[static_cast<unsigned char>(c)];
      std::memcpy(end, replacement.data(), sizeof replacement);
      end += replacement[3];
    }
    result.append(chunk, end);
  }
  return result;
}

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::optional<std::string> ZuStringEncoder::urlEncodeString(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return encode(*text, kUrl);
}

std::optional<std::string> ZuStringEncoder::urlEncodeStringFormBody(
    std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  return encode(*text, kFormBody);
}

std::optional<std::string> ZuStringEncoder::urlDecodeString(std::optional<std::string_view> text) {
  if (!text) return std::nullopt;
  std::string result;
  result.reserve(text->size());
  for (std::size_t at = 0; at < text->size();) {
    const std::size_t percent = std::min(text->find('%', at), text->size());
    result.append(*text, at, percent - at);
    at = percent;
    if (at == text->size()) break;
    const int high = text->size() - at > 2 ? digit((*text)[at + 1]) : -1;
    const int low = high >= 0 ? digit((*text)[at + 2]) : -1;
    result += low >= 0 ? static_cast<char>(high << 4 | low) : '%';
    at += low >= 0 ? 3 : 1;
  }
  if (!isValidUtf8(result)) return std::nullopt;
  return result;
}

}  // namespace kelm
