#include "kelm/crypto/crypto_key.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace kelm {

namespace {

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, FreeCertificate>;

bool fitsOpenSsl(DataView der) {
  return der.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

/// Writing it again shows what the parser let pass: other forms of a length, and what follows.
bool isWrittenAs(const X509* certificate, DataView der) {
  unsigned char* written = nullptr;
  const int size = i2d_X509(certificate, &written);
  const bool same =
      size >= 0 && std::ranges::equal(DataView(written, static_cast<std::size_t>(size)), der);
  OPENSSL_free(written);
  return same;
}

Certificate certificateOf(DataView der) {
  if (der.empty() || !fitsOpenSsl(der)) return nullptr;
  const unsigned char* at = der.data();
  Certificate certificate(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
  if (certificate && (at != der.data() + der.size() || !isWrittenAs(certificate.get(), der)))
    certificate.reset();
  return certificate;
}

std::optional<Data> written(const CryptoKey& key, int (*write)(const EVP_PKEY*, unsigned char**)) {
  unsigned char* bytes = nullptr;
  const int size = write(key.native.get(), &bytes);
  if (size <= 0) {
    ERR_clear_error();
    return std::nullopt;
  }
  Data result(bytes, bytes + size);
  OPENSSL_clear_free(bytes, static_cast<std::size_t>(size));
  return result;
}

}  // namespace

KeyReference makeKey(OpenSslKey key, KeyPart part) {
  if (!key) return nullptr;
  return std::make_shared<CryptoKey>(CryptoKey{std::move(key), part});
}

bool isServedRsa(const CryptoKey* key) {
  if (key == nullptr || EVP_PKEY_is_a(key->native.get(), "RSA") != 1) return false;
  const int bits = EVP_PKEY_get_bits(key->native.get());
  return bits >= kLeastRsaBits && bits <= kMostRsaBits;
}

std::optional<KeyReference> publicKeyOfCertificate(DataView der) {
  const Certificate certificate = certificateOf(der);
  OpenSslKey key(certificate ? X509_get_pubkey(certificate.get()) : nullptr);
  if (!key) ERR_clear_error();
  if (!certificate) return std::nullopt;
  return makeKey(std::move(key), KeyPart::Public);
}

KeyReference rsaKeyOfPkcs1(DataView der, KeyPart part) {
  if (der.empty() || !fitsOpenSsl(der)) return nullptr;
  const unsigned char* at = der.data();
  const auto read = part == KeyPart::Public ? &d2i_PublicKey : &d2i_PrivateKey;
  OpenSslKey native(read(EVP_PKEY_RSA, nullptr, &at, static_cast<long>(der.size())));
  if (!native) ERR_clear_error();
  KeyReference key = makeKey(std::move(native), part);
  return at == der.data() + der.size() && isServedRsa(key.get()) ? key : nullptr;
}

KeyReference publicHalfOf(const CryptoKey& privateKey) {
  const std::optional<Data> numbers = written(privateKey, &i2d_PublicKey);
  return numbers ? rsaKeyOfPkcs1(*numbers, KeyPart::Public) : nullptr;
}

bool isPublicHalfOf(const CryptoKey& publicKey, const CryptoKey& privateKey) {
  return EVP_PKEY_eq(publicKey.native.get(), privateKey.native.get()) == 1;
}

std::optional<Data> externalRepresentation(const CryptoKey* key) {
  if (key == nullptr) return std::nullopt;
  return written(*key, key->part == KeyPart::Public ? &i2d_PublicKey : &i2d_PrivateKey);
}

}  // namespace kelm
