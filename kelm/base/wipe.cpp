#include "kelm/base/wipe.h"

#include <cstring>

namespace kelm {
namespace {

/// Makes the compiler believe that somebody reads the bytes.
void keep(const void* bytes) { asm volatile("" : : "r"(bytes) : "memory"); }

}  // namespace

void wipe(std::span<std::uint8_t> secret) {
  if (secret.empty()) return;
  std::memset(secret.data(), 0, secret.size());
  keep(secret.data());
}

void wipe(std::string& secret) {
  secret.resize(secret.capacity());  // stays in place: the capacity suffices
  wipe({reinterpret_cast<std::uint8_t*>(secret.data()), secret.size()});
  secret.clear();
}

bool equalInConstantTime(DataView a, DataView b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<unsigned>(a[i] ^ b[i]);
    asm volatile("" : "+r"(difference));  // no early end, no guess about what is known so far
  }
  return difference == 0;
}

}  // namespace kelm
