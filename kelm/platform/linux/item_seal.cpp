#include "kelm/platform/linux/item_seal.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <span>

namespace kelm::platform {

namespace {

constexpr std::size_t kNonceBytes = 12;
constexpr std::size_t kTagBytes = 16;
constexpr std::size_t kMostBytes = std::numeric_limits<int>::max() / 2;  // OpenSSL counts in int

struct FreeContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

/// A context that has taken up what the tag covers beside the secret; null for a failure.
Context begin(const SealKey& key, DataView nonce, DataView covered, bool seals) {
  static const EVP_CIPHER* const kCipher = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
  Context context(EVP_CIPHER_CTX_new());
  int size = 0;
  if (kCipher == nullptr || !context || covered.size() > kMostBytes ||
      EVP_CipherInit_ex2(context.get(), kCipher, key.bytes.data(), nonce.data(), seals ? 1 : 0,
                         nullptr) != 1 ||
      EVP_CipherUpdate(context.get(), nullptr, &size, covered.data(),
                       static_cast<int>(covered.size())) != 1)
    return nullptr;
  return context;
}

bool update(EVP_CIPHER_CTX* context, std::uint8_t* out, DataView in) {
  int size = 0;
  return in.empty() ||
         EVP_CipherUpdate(context, out, &size, in.data(), static_cast<int>(in.size())) == 1;
}

}  // namespace

std::optional<Data> seal(const SealKey& key, DataView secret, DataView context, Random& random) {
  if (secret.size() > kMostBytes) return std::nullopt;
  Data sealed(kNonceBytes + secret.size() + kTagBytes);
  if (!random.fill(std::span(sealed).first(kNonceBytes))) return std::nullopt;
  const Context cipher = begin(key, sealed, context, true);
  int size = 0;
  if (cipher && update(cipher.get(), sealed.data() + kNonceBytes, secret) &&
      EVP_CipherFinal_ex(cipher.get(), sealed.data() + sealed.size() - kTagBytes, &size) == 1 &&
      EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_AEAD_GET_TAG, kTagBytes,
                          sealed.data() + sealed.size() - kTagBytes) == 1)
    return sealed;
  ERR_clear_error();
  return std::nullopt;
}

std::optional<Data> unseal(const SealKey& key, DataView sealed, DataView context) {
  if (sealed.size() < kNonceBytes + kTagBytes || sealed.size() > kMostBytes) return std::nullopt;
  const DataView hidden = sealed.subspan(kNonceBytes, sealed.size() - kNonceBytes - kTagBytes);
  Data secret(hidden.size());
  std::array<std::uint8_t, kTagBytes> tag;
  std::copy_n(sealed.end() - kTagBytes, kTagBytes, tag.begin());
  std::uint8_t none = 0;
  int size = 0;
  const Context cipher = begin(key, sealed, context, false);
  if (cipher && update(cipher.get(), secret.data(), hidden) &&
      EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_AEAD_SET_TAG, kTagBytes, tag.data()) == 1 &&
      EVP_CipherFinal_ex(cipher.get(), &none, &size) == 1)
    return secret;
  ERR_clear_error();
  wipe(secret);  // what was decrypted without being vouched for
  return std::nullopt;
}

}  // namespace kelm::platform
