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

/// The thread's context, freed when the thread ends. What hashes later still, from a destructor at
/// the thread's end, gets one of its own.
class HashContext {
 public:
  HashContext() : context_(ofThread()), owned_(context_ == nullptr) {
    if (owned_) context_ = EVP_MD_CTX_new();
  }
  ~HashContext() {
    if (owned_) EVP_MD_CTX_free(context_);
  }
  HashContext(const HashContext&) = delete;
  HashContext& operator=(const HashContext&) = delete;

  EVP_MD_CTX* get() const { return context_; }

 private:
  static EVP_MD_CTX* ofThread() {
    thread_local EVP_MD_CTX* tContext = nullptr;
    thread_local bool tEnded = false;
    struct Release {
      ~Release() {
        EVP_MD_CTX_free(std::exchange(tContext, nullptr));
        tEnded = true;
      }
    };
    thread_local const Release tRelease;
    (void)tRelease;
    if (tContext == nullptr && !tEnded) tContext = EVP_MD_CTX_new();
    return tContext;
  }

  EVP_MD_CTX* context_;
  bool owned_;
};

}  // namespace

std::optional<Data> digestOf(DigestKind kind, DataView bytes) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  const HashContext context;
  EVP_MD_CTX* const hash = context.get();
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
