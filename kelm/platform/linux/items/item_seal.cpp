#include "kelm/platform/linux/items/item_seal.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <limits>
#include <span>

#include "kelm/platform/random.h"

namespace kelm::platform {

namespace {

constexpr std::size_t kNonceBytes = 12;
constexpr std::size_t kTagBytes = 16;
constexpr std::size_t kMostBytes = std::numeric_limits<int>::max() / 2;  // OpenSSL counts in int

const EVP_CIPHER* aes() {
  static const EVP_CIPHER* const kCipher = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
  return kCipher;
}

/// Takes up the nonce, and what the tag covers beside the secret, in a context that has its key.
bool begin(EVP_CIPHER_CTX* keyed, DataView nonce, DataView covered) {
  int size = 0;
  return covered.size() <= kMostBytes &&
         EVP_CipherInit_ex2(keyed, nullptr, nullptr, nonce.data(), -1, nullptr) == 1 &&
         EVP_CipherUpdate(keyed, nullptr, &size, covered.data(),
                          static_cast<int>(covered.size())) == 1;
}

bool update(EVP_CIPHER_CTX* context, std::uint8_t* out, DataView in) {
  int size = 0;
  return in.empty() ||
         EVP_CipherUpdate(context, out, &size, in.data(), static_cast<int>(in.size())) == 1;
}

}  // namespace

std::optional<Data> seal(const SealKey& key, DataView secret, DataView context) {
  if (secret.size() > kMostBytes) return std::nullopt;
  Data sealed(kNonceBytes + secret.size() + kTagBytes);
  if (!current<Random>()->fill(std::span(sealed).first(kNonceBytes))) return std::nullopt;
  std::uint8_t* const tag = sealed.data() + sealed.size() - kTagBytes;
  EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
  int size = 0;
  const bool isSealed =
      cipher != nullptr &&
      EVP_EncryptInit_ex2(cipher, aes(), key.bytes.data(), nullptr, nullptr) == 1 &&
      begin(cipher, sealed, context) && update(cipher, sealed.data() + kNonceBytes, secret) &&
      EVP_CipherFinal_ex(cipher, tag, &size) == 1 &&
      EVP_CIPHER_CTX_ctrl(cipher, EVP_CTRL_AEAD_GET_TAG, kTagBytes, tag) == 1;
  EVP_CIPHER_CTX_free(cipher);
  if (isSealed) return sealed;
  ERR_clear_error();
  return std::nullopt;
}

void Unsealer::FreeContext::operator()(EVP_CIPHER_CTX* cipher) const {
  EVP_CIPHER_CTX_free(cipher);
}

Unsealer::Unsealer(const SealKey& key) : cipher_(EVP_CIPHER_CTX_new()) {
  if (cipher_ &&
      EVP_DecryptInit_ex2(cipher_.get(), aes(), key.bytes.data(), nullptr, nullptr) != 1) {
    ERR_clear_error();
    cipher_.reset();
  }
}

std::optional<Data> Unsealer::unseal(DataView sealed, DataView context) {
  if (!cipher_ || sealed.size() < kNonceBytes + kTagBytes || sealed.size() > kMostBytes)
    return std::nullopt;
  const DataView hidden = sealed.subspan(kNonceBytes, sealed.size() - kNonceBytes - kTagBytes);
  Data secret(hidden.size());
  std::array<std::uint8_t, kTagBytes> tag;
  std::copy_n(sealed.end() - kTagBytes, kTagBytes, tag.begin());
  std::uint8_t none = 0;
  int size = 0;
  if (begin(cipher_.get(), sealed, context) && update(cipher_.get(), secret.data(), hidden) &&
      EVP_CIPHER_CTX_ctrl(cipher_.get(), EVP_CTRL_AEAD_SET_TAG, kTagBytes, tag.data()) == 1 &&
      EVP_CipherFinal_ex(cipher_.get(), &none, &size) == 1)
    return secret;
  ERR_clear_error();
  wipe(secret);  // what was decrypted without being vouched for
  return std::nullopt;
}

}  // namespace kelm::platform
