#include "kelm/crypto/crypto_key.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "kelm/crypto/der.h"
#include "kelm/crypto/rsa_numbers.h"

namespace kelm {

namespace {

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Certificate = std::unique_ptr<X509, FreeCertificate>;

struct FreeKeyContext {
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
};

/// The cipher's names of a key's numbers, in the order of RsaNumbers.
constexpr std::array<const char*, RsaNumbers::kAll> kNames = {
    OSSL_PKEY_PARAM_RSA_N,         OSSL_PKEY_PARAM_RSA_E,           OSSL_PKEY_PARAM_RSA_D,
    OSSL_PKEY_PARAM_RSA_FACTOR1,   OSSL_PKEY_PARAM_RSA_FACTOR2,     OSSL_PKEY_PARAM_RSA_EXPONENT1,
    OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1};
using Parameters = std::array<OSSL_PARAM, RsaNumbers::kAll + 1>;

std::size_t numbersOf(KeyPart part) {
  return part == KeyPart::Public ? RsaNumbers::kOfPublicKey : RsaNumbers::kAll;
}

/// The cipher takes and gives numbers in the processor's order of bytes.
void turnIntoNativeOrder(Data& number) {
  if constexpr (std::endian::native == std::endian::little)
    std::reverse(number.begin(), number.end());
}

Parameters parametersOf(RsaNumbers& numbers, std::size_t count) {
  Parameters parameters;
  parameters.fill(OSSL_PARAM_construct_end());
  for (std::size_t at = 0; at < count; ++at)
    parameters[at] =
        OSSL_PARAM_construct_BN(kNames[at], numbers.values[at].data(), numbers.values[at].size());
  return parameters;
}

// OpenSSL's own readers and writers of keys free the encoded form without wiping it. So numbers go
// in and out through buffers of ours.

OpenSslKey nativeKeyOf(RsaNumbers& numbers, KeyPart part) {
  for (Data& number : numbers.values)
    turnIntoNativeOrder(number);
  Parameters parameters = parametersOf(numbers, numbersOf(part));
  const std::unique_ptr<EVP_PKEY_CTX, FreeKeyContext> context(
      EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  const int selection = part == KeyPart::Public ? EVP_PKEY_PUBLIC_KEY : EVP_PKEY_KEYPAIR;
  EVP_PKEY* key = nullptr;
  if (!context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
      EVP_PKEY_fromdata(context.get(), &key, selection, parameters.data()) != 1)
    ERR_clear_error();
  return OpenSslKey(key);
}

std::optional<RsaNumbers> numbersOf(const EVP_PKEY* key, std::size_t count) {
  RsaNumbers numbers;
  for (Data& number : numbers.values)
    number.resize(std::size_t{kMostRsaBits} / 8);
  Parameters parameters = parametersOf(numbers, count);
  if (EVP_PKEY_get_params(key, parameters.data()) != 1) {
    ERR_clear_error();
    return std::nullopt;
  }
  for (; numbers.count < count; ++numbers.count) {
    const OSSL_PARAM& parameter = parameters[numbers.count];
    if (OSSL_PARAM_modified(&parameter) == 0) return std::nullopt;
    Data& number = numbers.values[numbers.count];
    number.resize(parameter.return_size);
    turnIntoNativeOrder(number);
    number.erase(number.begin(), std::find_if(number.begin(), number.end(),
                                              [](std::uint8_t byte) { return byte != 0; }));
  }
  return numbers;
}

Certificate certificateOf(DataView der) {
  if (der.size() > std::size_t{std::numeric_limits<int>::max()} || !isDer(der)) return nullptr;
  const unsigned char* at = der.data();
  Certificate certificate(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
  if (at != der.data() + der.size()) certificate.reset();
  if (!certificate) ERR_clear_error();
  return certificate;
}

}  // namespace

KeyReference newRsaKey(int bits) {
  if (bits < kLeastRsaBits || bits > kMostRsaBits) return nullptr;
  OpenSslKey key(EVP_RSA_gen(static_cast<unsigned>(bits)));
  if (key) return std::make_shared<CryptoKey>(CryptoKey{std::move(key), KeyPart::Private});
  ERR_clear_error();
  return nullptr;
}

std::optional<KeyReference> publicKeyOfCertificate(DataView der) {
  const Certificate certificate = certificateOf(der);
  if (!certificate) return std::nullopt;
  ASN1_OBJECT* algorithm = nullptr;
  const unsigned char* bytes = nullptr;
  int size = 0;
  X509_PUBKEY_get0_param(&algorithm, &bytes, &size, nullptr,
                         X509_get_X509_PUBKEY(certificate.get()));
  ERR_clear_error();  // the parser tried to make a key of it
  if (OBJ_obj2nid(algorithm) != NID_rsaEncryption) return KeyReference();
  return rsaKeyOfPkcs1({bytes, static_cast<std::size_t>(size)}, KeyPart::Public);
}

KeyReference rsaKeyOfPkcs1(DataView der, KeyPart part) {
  std::optional<RsaNumbers> numbers = rsaNumbersOf(der, numbersOf(part));
  if (!numbers || !followKeyRule(*numbers)) return nullptr;
  OpenSslKey native = nativeKeyOf(*numbers, part);
  if (!native) return nullptr;
  return std::make_shared<CryptoKey>(CryptoKey{std::move(native), part});
}

KeyReference publicHalfOf(const CryptoKey& privateKey) {
  const auto numbers = numbersOf(privateKey.native.get(), RsaNumbers::kOfPublicKey);
  return numbers ? rsaKeyOfPkcs1(pkcs1Of(*numbers, numbers->count), KeyPart::Public) : nullptr;
}

bool isPublicHalfOf(const CryptoKey& publicKey, const CryptoKey& privateKey) {
  return EVP_PKEY_eq(publicKey.native.get(), privateKey.native.get()) == 1;
}

std::optional<Data> externalRepresentation(const CryptoKey* key) {
  if (key == nullptr) return std::nullopt;
  const auto numbers = numbersOf(key->native.get(), numbersOf(key->part));
  return numbers ? std::optional(pkcs1Of(*numbers, numbers->count)) : std::nullopt;
}

}  // namespace kelm
