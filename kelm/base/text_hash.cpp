#include "kelm/base/text_hash.h"

#include <bit>
#include <cstring>
#include <random>

namespace kelm {
namespace {

struct Key {
  std::uint64_t low;
  std::uint64_t high;
};

Key drawKey() {
  try {
    std::random_device source;
    const auto word = [&] { return std::uint64_t{source()} << 32 | source(); };
    return {word(), word()};
  } catch (...) {  // no source of randomness: the layout of the process differs a little
    static const char place = 0;
    return {reinterpret_cast<std::uintptr_t>(&place), 0x9e3779b97f4a7c15};
  }
}

struct SipState {
  std::uint64_t v0, v1, v2, v3;

  explicit SipState(const Key& key)
      : v0(key.low ^ 0x736f6d6570736575),
        v1(key.high ^ 0x646f72616e646f6d),
        v2(key.low ^ 0x6c7967656e657261),
        v3(key.high ^ 0x7465646279746573) {}

  void round() {
    v0 += v1;
    v2 += v3;
    v1 = std::rotl(v1, 13) ^ v0;
    v3 = std::rotl(v3, 16) ^ v2;
    v0 = std::rotl(v0, 32);
    v2 += v1;
    v0 += v3;
    v1 = std::rotl(v1, 17) ^ v2;
    v3 = std::rotl(v3, 21) ^ v0;
    v2 = std::rotl(v2, 32);
  }

  void take(std::uint64_t word) {
    v3 ^= word;
    round();
    v0 ^= word;
  }
};

}  // namespace

std::uint64_t textHash(std::string_view text) {
  static const Key key = drawKey();
  SipState state(key);
  const char* at = text.data();
  std::size_t left = text.size();
  for (; left >= 8; at += 8, left -= 8) {
    std::uint64_t word;
    std::memcpy(&word, at, 8);
    state.take(word);
  }
  std::uint64_t last = 0;
  if (left > 0) std::memcpy(&last, at, left);
  state.take(last ^ static_cast<std::uint64_t>(text.size()) << 56);
  state.v2 ^= 0xff;
  for (int i = 0; i < 3; ++i)
    state.round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace kelm
