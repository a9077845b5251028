#include "kelm/base/text_hash.h"

#include <cstddef>
#include <cstring>
#include <random>

namespace kelm {
namespace {

__extension__ using Wide = unsigned __int128;

struct Key {
  std::uint64_t start;
  std::uint64_t factor;
  std::uint64_t finish;
};

Key drawKey() {
  try {
    std::random_device source;
    const auto word = [&] { return std::uint64_t{source()} << 32 | source(); };
    return {word(), word(), word()};
  } catch (...) {  // no source of randomness: the layout of the process differs a little
    static const char place = 0;
    return {reinterpret_cast<std::uintptr_t>(&place), 0x9e3779b97f4a7c15, 0xbf58476d1ce4e5b9};
  }
}

template <class Word>
std::uint64_t load(const char* at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

std::uint64_t folded(std::uint64_t a, std::uint64_t b) {
  const Wide product = Wide{a} * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

std::uint64_t textHash(std::string_view text) {
  static const Key key = drawKey();
  const char* at = text.data();
  std::size_t left = text.size();
  std::uint64_t state = key.start ^ left;
  for (; left > 16; at += 16, left -= 16)
    state = folded(load<std::uint64_t>(at) ^ key.factor, load<std::uint64_t>(at + 8) ^ state);
  // Two words that cover the last 0 to 16 bytes; in between they overlap.
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  if (left >= 8) {
    first = load<std::uint64_t>(at);
    last = load<std::uint64_t>(at + left - 8);
  } else if (left >= 4) {
    first = load<std::uint32_t>(at);
    last = load<std::uint32_t>(at + left - 4);
  } else if (left > 0) {
    first = load<std::uint8_t>(at) << 16 | load<std::uint8_t>(at + left / 2) << 8 |
            load<std::uint8_t>(at + left - 1);
  }
  state = folded(first ^ key.factor, last ^ state);
  return folded(state ^ key.finish, key.start);
}

}  // namespace kelm
