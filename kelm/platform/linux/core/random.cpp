#include "kelm/platform/random.h"

#include <sys/auxv.h>
#include <sys/random.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "kelm/base/mutex.h"
#include "kelm/platform/linux/core/services.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace {

/// One block of ChaCha20 (RFC 8439, section 2.3) with a zero nonce.
std::array<std::uint32_t, 16> chaChaBlock(const std::array<std::uint32_t, 8>& key,
                                          std::uint64_t counter) {
  std::array<std::uint32_t, 16> start{0x61707865, 0x3320646e, 0x79622d32, 0x6b206574};
  std::copy(key.begin(), key.end(), start.begin() + 4);
  start[12] = static_cast<std::uint32_t>(counter);
  start[13] = static_cast<std::uint32_t>(counter >> 32);
  auto block = start;
  const auto quarterRound = [&block](int a, int b, int c, int d) {
    block[a] += block[b], block[d] = std::rotl(block[d] ^ block[a], 16);
    block[c] += block[d], block[b] = std::rotl(block[b] ^ block[c], 12);
    block[a] += block[b], block[d] = std::rotl(block[d] ^ block[a], 8);
    block[c] += block[d], block[b] = std::rotl(block[b] ^ block[c], 7);
  };
  for (int round = 0; round < 10; ++round) {
    for (int i = 0; i < 4; ++i)
      quarterRound(i, i + 4, i + 8, i + 12);
    for (int i = 0; i < 4; ++i)
      quarterRound(i, 4 + (i + 1) % 4, 8 + (i + 2) % 4, 12 + (i + 3) % 4);
  }
  for (std::size_t i = 0; i < block.size(); ++i)
    block[i] += start[i];
  return block;
}

/// The generator of last resort: needs no call that can fail. Its key starts from the random bytes
/// that the kernel gave the process, takes up the clocks at each draw, and is replaced after it.
class ClockGenerator {
 public:
  void fill(std::span<std::uint8_t> buffer) {
    const Lock lock(mutex_);
    stir();
    while (!buffer.empty()) {
      const auto block = chaChaBlock(key_, ++counter_);
      const std::size_t count = std::min(buffer.size(), sizeof block);
      std::memcpy(buffer.data(), block.data(), count);
      buffer = buffer.subspan(count);
    }
    replaceKey();
  }

 private:
  void stir() KELM_REQUIRES(mutex_) {
    if (counter_ == 0) {
      const auto* given = reinterpret_cast<const char*>(getauxval(AT_RANDOM));
      if (given != nullptr) std::memcpy(key_.data(), given, 16);
    }
    timespec wall{}, steady{};
    clock_gettime(CLOCK_REALTIME, &wall);
    clock_gettime(CLOCK_MONOTONIC, &steady);
    key_[4] ^= static_cast<std::uint32_t>(::getpid());
    key_[5] ^= static_cast<std::uint32_t>(wall.tv_sec);
    key_[6] ^= static_cast<std::uint32_t>(wall.tv_nsec);
    key_[7] ^= static_cast<std::uint32_t>(steady.tv_nsec ^ steady.tv_sec);
    replaceKey();
  }

  void replaceKey() KELM_REQUIRES(mutex_) {
    const auto block = chaChaBlock(key_, ++counter_);
    std::copy_n(block.begin(), key_.size(), key_.begin());
  }

  Mutex mutex_;
  std::array<std::uint32_t, 8> key_ KELM_GUARDED_BY(mutex_){};
  std::uint64_t counter_ KELM_GUARDED_BY(mutex_) = 0;
};

class SystemRandom : public Random {
 public:
  explicit SystemRandom(RandomSource source) : source_(source) {}

  bool fill(std::span<std::uint8_t> buffer) override {
    while (!buffer.empty()) {
      const ssize_t count = retried([&] { return source_(buffer.data(), buffer.size(), 0); });
      if (count <= 0) return false;
      buffer = buffer.subspan(static_cast<std::size_t>(count));
    }
    return true;
  }

  void fillFromFallback(std::span<std::uint8_t> buffer) override { lastResort_.fill(buffer); }

 private:
  const RandomSource source_;
  ClockGenerator lastResort_;
};

}  // namespace

std::shared_ptr<Random> Random::makeSystem() { return makeRandom(getrandom); }

std::shared_ptr<Random> makeRandom(RandomSource source) {
  return std::make_shared<SystemRandom>(source);
}

}  // namespace kelm::platform
