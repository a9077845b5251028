#include "kelm/crypto/digest.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>
#include <utility>

namespace kelm {

namespace {

/// Fetched once: asking OpenSSL by name on every call takes longer than hashing 100 bytes.
const EVP_MD* algorithm(DigestKind kind) {
  static const std::array<const EVP_MD*, 3> kAlgorithms = {
      EVP_MD_fetch(nullptr, "MD5", nullptr), EVP_MD_fetch(nullptr, "SHA1", nullptr),
      EVP_MD_fetch(nullptr, "SHA256", nullptr)};
  return kAlgorithms[static_cast<std::size_t>(kind)];
}

/// One a thread, freed when the thread ends. What hashes later still, from a destructor at the
/// thread's end, gets another one, which is not freed.
EVP_MD_CTX* context() {
  thread_local EVP_MD_CTX* tContext = nullptr;
  struct Release {
    ~Release() { EVP_MD_CTX_free(std::exchange(tContext, nullptr)); }
  };
  thread_local const Release tRelease;
  (void)tRelease;
  if (tContext == nullptr) tContext = EVP_MD_CTX_new();
  return tContext;
}

}  // namespace

std::optional<Data> digestOf(DigestKind kind, DataView bytes) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  EVP_MD_CTX* const hash = context();
  if (hash != nullptr && algorithm(kind) != nullptr &&
      EVP_DigestInit_ex2(hash, algorithm(kind), nullptr) == 1 &&
      EVP_DigestUpdate(hash, bytes.data(), bytes.size()) == 1 &&
      EVP_DigestFinal_ex(hash, digest.data(), &size) == 1)
    return Data(digest.begin(), digest.begin() + size);
  ERR_clear_error();
  return std::nullopt;
}

std::optional<Data> digestOfShortLength(DigestKind kind, std::optional<DataView> bytes) {
  if (!bytes || bytes->empty()) return std::nullopt;
  return digestOf(kind, bytes->first(static_cast<std::uint32_t>(bytes->size())));
}

}  // namespace kelm
