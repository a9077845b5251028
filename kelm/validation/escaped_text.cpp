#include "kelm/validation/escaped_text.h"

#include <algorithm>
#include <array>
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

constexpr std::size_t kBlock = 32;

/// False only when nothing in a block needs a backslash. Without a branch in the loop, which the
/// compiler so turns into a few vector instructions.
bool mayNeedEscapes(const char* block) {
  unsigned char any = 0;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const auto byte = static_cast<unsigned char>(block[i]);
    any |= static_cast<unsigned char>((byte == '"') | (byte == '/') | (byte < 0x10));
  }
  return any != 0;
}

/// What a character below U+0080 becomes.
struct XmlText {
  std::array<char, 7> text{};
  std::uint8_t length = 0;
};

constexpr bool staysInXml(char c) {
  return (c >= '*' && c <= '9') || c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

constexpr auto kXmlTexts = [] {
  std::array<XmlText, 128> texts{};
  for (std::size_t code = 0; code < texts.size(); ++code) {
    XmlText& entry = texts[code];
    const auto put = [&entry](char c) { entry.text[entry.length++] = c; };
    if (staysInXml(static_cast<char>(code))) {
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

/// Appends what the ASCII characters at the start of `text` become; returns how many there were.
std::size_t appendAsciiForXml(std::string& out, std::string_view text) {
  constexpr std::size_t kPiece = 256;
  std::array<char, (kPiece + 1) * sizeof(XmlText)> piece;
  std::size_t at = 0;
  while (at < text.size() && static_cast<signed char>(text[at]) >= 0) {
    const std::size_t end = std::min(text.size(), at + kPiece);
    char* next = piece.data();
    for (; at < end && static_cast<signed char>(text[at]) >= 0; ++at) {
      const XmlText& entry = kXmlTexts[static_cast<unsigned char>(text[at])];
      std::memcpy(next, &entry, sizeof entry);  // the length is overwritten by what follows
      next += entry.length;
    }
    out.append(piece.data(), static_cast<std::size_t>(next - piece.data()));
  }
  return at;
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
  std::size_t copied = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (text.size() - at >= kBlock && !mayNeedEscapes(text.data() + at)) {
      at += kBlock;
      continue;
    }
    for (const std::size_t end = std::min(text.size(), at + kBlock); at < end; ++at) {
      const char letter = kJsonLetters[static_cast<unsigned char>(text[at])];
      if (letter == 0) continue;
      out.append(text, copied, at - copied).push_back('\\');
      out.push_back(letter);
      copied = at + 1;
    }
  }
  return out.append(text, copied);
}

std::string escapedForXml(std::string_view text) {
  std::string out;
  out.reserve(text.size() * 2);
  while (!text.empty()) {
    text.remove_prefix(appendAsciiForXml(out, text));
    if (!text.empty()) text.remove_prefix(appendOtherForXml(out, text));
  }
  return out;
}

}  // namespace kelm
