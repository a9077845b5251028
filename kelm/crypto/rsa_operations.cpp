#include "kelm/crypto/rsa_operations.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>

#include "kelm/base/wipe.h"

namespace kelm {

namespace {

struct FreeKeyContext {
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
};

using Start = int (*)(EVP_PKEY_CTX*);
using Transform = int (*)(EVP_PKEY_CTX*, unsigned char*, std::size_t*, const unsigned char*,
                          std::size_t);

/// From 3.2 on, OpenSSL answers wrong padding with random bytes unless told not to; earlier ones
/// do not know the parameter and ignore it.
bool refuseWrongPadding(EVP_PKEY_CTX* context) {
  unsigned off = 0;
  const std::array<OSSL_PARAM, 2> parameters = {
      OSSL_PARAM_construct_uint("implicit-rejection", &off), OSSL_PARAM_construct_end()};
  return EVP_PKEY_CTX_set_params(context, parameters.data()) == 1;
}

std::optional<Data> transformed(const CryptoKey& key, Start start, Transform transform,
                                DataView input) {
  const std::unique_ptr<EVP_PKEY_CTX, FreeKeyContext> context(
      EVP_PKEY_CTX_new_from_pkey(nullptr, key.native.get(), nullptr));
  Data output(rsaBlockBytes(key));
  std::size_t size = output.size();
  if (context && start(context.get()) == 1 &&
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
      (start != EVP_PKEY_decrypt_init || refuseWrongPadding(context.get())) &&
      transform(context.get(), output.data(), &size, input.data(), input.size()) == 1) {
    wipe(std::span(output).subspan(size));  // a shorter plain text's padding, and what it covered
    output.resize(size);
    return output;
  }
  wipe(output);
  ERR_clear_error();
  return std::nullopt;
}

// The beginning of a DigestInfo (RFC 8017, 9.2): everything but the digest.
constexpr std::array<std::uint8_t, 15> kSha1Info = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e,
                                                    0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14};
constexpr std::array<std::uint8_t, 19> kSha256Info = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60,
                                                      0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02,
                                                      0x01, 0x05, 0x00, 0x04, 0x20};

/// What is padded and signed. Absent for data without a digest.
std::optional<Data> digestInfo(DigestKind kind, DataView data) {
  const std::optional<Data> digest = digestOfShortLength(kind, data);
  if (!digest) return std::nullopt;
  Data info;
  append(info, kind == DigestKind::Sha1 ? DataView(kSha1Info) : DataView(kSha256Info));
  append(info, *digest);
  return info;
}

/// The padded content of a signature.
std::optional<Data> opened(const CryptoKey& key, DataView signature) {
  if (signature.size() != rsaBlockBytes(key)) return std::nullopt;
  return transformed(key, EVP_PKEY_verify_recover_init, EVP_PKEY_verify_recover, signature);
}

}  // namespace

std::size_t rsaBlockBytes(const CryptoKey& key) {
  return static_cast<std::size_t>(std::max(EVP_PKEY_get_size(key.native.get()), 0));
}

std::optional<Data> rsaEncrypt(const CryptoKey& key, DataView plain) {
  return transformed(key, EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, plain);
}

std::optional<Data> rsaDecrypt(const CryptoKey& key, DataView ciphertext) {
  if (key.part != KeyPart::Private) return std::nullopt;
  return transformed(key, EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, ciphertext);
}

std::optional<Data> rsaSign(const CryptoKey& key, DigestKind kind, DataView data) {
  const std::optional<Data> info = digestInfo(kind, data);
  if (key.part != KeyPart::Private || !info) return std::nullopt;
  return transformed(key, EVP_PKEY_sign_init, EVP_PKEY_sign, *info);
}

// Checked by building what a signature must hold, not by parsing what it holds (RFC 8017, 8.2.2):
// a parser that lets anything pass lets forgeries pass.

bool rsaIsSigned(const CryptoKey& key, DigestKind kind, DataView data, DataView signature) {
  const std::optional<Data> info = digestInfo(kind, data);
  return info && opened(key, signature) == info;
}

bool rsaIsSignedWithEither(const CryptoKey& key, DataView data, DataView signature) {
  const std::optional<Data> content = opened(key, signature);
  return content && (content == digestInfo(DigestKind::Sha1, data) ||
                     content == digestInfo(DigestKind::Sha256, data));
}

}  // namespace kelm
