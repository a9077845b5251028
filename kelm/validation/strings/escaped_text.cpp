#include "kelm/validation/strings/escaped_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kelm/base/utf8.h"

namespace kelm {
namespace {

/// By byte, what stands behind the backslash in its place; 0 for what stays.
constexpr auto kJsonLetters = [] {
  std::array<char, 256> letters{};
  letters['"'] = '"';
  letters['/'] = '/';
  letters['\n'] = 'n';
  letters['\b'] = 'b';
  letters['\f'] = 'f';
  letters['\r'] = 'r';
  letters['\t'] = 't';
  return letters;
}();

/// 1 or 0.
constexpr int changesInJson(unsigned char c) {
  return (c == '"') | (c == '/') | ((c >= '\b') & (c <= '\r') & (c != '\v'));
}

/// Writes what `size` bytes become, and maybe one more; returns where they end.
char* putForJson(char* out, const char* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    const char letter = kJsonLetters[static_cast<unsigned char>(bytes[i])];
    const bool isEscaped = letter != 0;
    out[0] = isEscaped ? '\\' : bytes[i];
    out[1] = letter;
    out += 1 + isEscaped;
  }
  return out;
}

/// What a character below U+0080 becomes.
struct XmlText {
  std::array<char, 7> text{};
  std::uint8_t length = 0;
};

/// 1 or 0.
constexpr int changesInXml(unsigned char c) {
  const unsigned char letter = c | 0x20;
  return 1 ^ (((c >= '*') & (c <= '9')) | (c == '_') | ((letter >= 'a') & (letter <= 'z')));
}

constexpr auto kXmlTexts = [] {
  std::array<XmlText, 128> texts{};
  for (std::size_t code = 0; code < texts.size(); ++code) {
    XmlText& entry = texts[code];
    const auto put = [&entry](char c) { entry.text[entry.length++] = c; };
    if (changesInXml(static_cast<unsigned char>(code)) == 0) {
      put(static_cast<char>(code));
      continue;
    }
    put('&');
    put('#');
    if (code >= 100) put(static_cast<char>('0' + code / 100));
    if (code >= 10) put(static_cast<char>('0' + code / 10 % 10));
    put(static_cast<char>('0' + code % 10));
    put(';');
  }
  return texts;
}();
static_assert(sizeof(XmlText) == 8);

/// Writes what `size` ASCII characters become, and maybe some bytes more; returns where they end.
char* putForXml(char* out, const char* characters, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    const XmlText& entry = kXmlTexts[static_cast<unsigned char>(characters[i])];
    std::memcpy(out, &entry, sizeof entry);  // the length is overwritten by what follows
    out += entry.length;
  }
  return out;
}

constexpr std::size_t kPiece = 512;

/// Appends what a piece of text becomes: copied by blocks wherever nothing changes. `put` writes
/// at most `kMostBytes` for each byte.
template <auto changes, auto put, std::size_t kMostBytes>
void appendPiece(std::string& out, std::string_view piece) {
  constexpr std::size_t kBlock = 32;
  std::array<char, (kPiece + 1) * kMostBytes> buffer;
  char* next = buffer.data();
  const char* block = piece.data();
  const char* const end = block + piece.size();
  for (; end - block >= static_cast<std::ptrdiff_t>(kBlock); block += kBlock) {
    std::uint8_t changed = 0;  // without branches: the compiler makes vector instructions of this
    for (std::size_t i = 0; i < kBlock; ++i)
      changed = static_cast<std::uint8_t>(changed | changes(static_cast<unsigned char>(block[i])));
    if (changed != 0) {
      next = put(next, block, kBlock);
    } else {
      std::memcpy(next, block, kBlock);
      next += kBlock;
    }
  }
  next = put(next, block, static_cast<std::size_t>(end - block));
  out.append(buffer.data(), static_cast<std::size_t>(next - buffer.data()));
}

void appendReference(std::string& out, std::uint32_t unit) {
  out.append("&#").append(std::to_string(unit)).push_back(';');
}

/// Appends the references of the character at the start of `text`; returns its bytes.
std::size_t appendOtherForXml(std::string& out, std::string_view text) {
  const std::size_t length = sequenceLength(text, 0);
  if (length == 0) {
    appendReference(out, 0xFFFD);
    return 1;
  }
  std::uint32_t code = static_cast<unsigned char>(text[0]) & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i)
    code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
  if (code > 0xFFFF) {
    appendReference(out, 0xD800 + ((code - 0x10000) >> 10));
    code = 0xDC00 + (code & 0x3FF);
  }
  appendReference(out, code);
  return length;
}

}  // namespace

std::string escapedForJson(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 16);
  for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size())))
    appendPiece<changesInJson, putForJson, 2>(out, text.substr(0, kPiece));
  return out;
}

std::string escapedForXml(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 2);
  while (!text.empty()) {
    std::size_t size = asciiRun(text.substr(0, kPiece), 0);
    if (size == 0 && static_cast<signed char>(text.front()) >= 0) size = 1;
    if (size == 0)
      size = appendOtherForXml(out, text);
    else
      appendPiece<changesInXml, putForXml, sizeof(XmlText)>(out, text.substr(0, size));
    text.remove_prefix(size);
  }
  return out;
}

}  // namespace kelm
