#include "kelm/crypto/pkcs12.h"

#include <openssl/asn1.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "kelm/base/wipe.h"
#include "kelm/crypto/crypto_key.h"

namespace kelm {

namespace {

/// About three seconds. Beyond the MAC, whoever sets the rounds knows the password.
constexpr std::int64_t kMostMacRounds = 10'000'000;

struct FreeBundle {
  void operator()(PKCS12* bundle) const { PKCS12_free(bundle); }
};
using Bundle = std::unique_ptr<PKCS12, FreeBundle>;

/// Knows the ciphers of old bundles (RC2, DES), which nothing else in the process shall get. Kept
/// for ever. Without the module "legacy" old bundles stay closed.
OSSL_LIB_CTX* libraryContext() {
  static OSSL_LIB_CTX* const kContext = [] {
    OSSL_LIB_CTX* const context = OSSL_LIB_CTX_new();
    if (context != nullptr) {
      (void)OSSL_PROVIDER_load(context, "default");
      (void)OSSL_PROVIDER_load(context, "legacy");
      ERR_clear_error();  // what a missing module leaves would confuse the host's own TLS calls
    }
    return context;
  }();
  return kContext;
}

Bundle parsed(DataView bytes) {
  if (bytes.empty() || bytes.size() > std::size_t{std::numeric_limits<int>::max()}) return nullptr;
  Bundle bundle(PKCS12_init_ex(NID_pkcs7_data, libraryContext(), nullptr));
  if (!bundle) return nullptr;
  const unsigned char* at = bytes.data();
  PKCS12* target = bundle.release();  // freed by the parser when it fails
  bundle.reset(d2i_PKCS12(&target, &at, static_cast<long>(bytes.size())));
  if (at != bytes.data() + bytes.size()) bundle.reset();
  return bundle;
}

bool hasBoundedMac(const PKCS12* bundle) {
  const ASN1_INTEGER* rounds = nullptr;
  const ASN1_OCTET_STRING* mac = nullptr;
  PKCS12_get0_mac(&mac, nullptr, nullptr, &rounds, bundle);
  if (mac == nullptr) return false;
  std::int64_t count = 1;  // what a missing count stands for
  if (rounds != nullptr && ASN1_INTEGER_get_int64(&count, rounds) != 1) return false;
  return count >= 1 && count <= kMostMacRounds;
}

OpenSslKey firstIdentityKey(PKCS12* bundle, const std::string& password) {
  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  const int status = PKCS12_parse(bundle, password.c_str(), &key, &certificate, nullptr);
  OpenSslKey owned(key);
  if (status != 1 || certificate == nullptr) owned.reset();
  X509_free(certificate);
  return owned;
}

}  // namespace

KeyReference rsaPrivateKeyOfPkcs12(DataView bytes, std::string_view password) {
  if (password.find('\0') != std::string_view::npos) return nullptr;  // OpenSSL would cut it there
  const Bundle bundle = parsed(bytes);
  if (!bundle || !hasBoundedMac(bundle.get())) {
    ERR_clear_error();
    return nullptr;
  }
  std::string ended(password);
  const KeyReference key = makeKey(firstIdentityKey(bundle.get(), ended), KeyPart::Private);
  wipe(ended);
  if (!key) ERR_clear_error();
  if (!isServedRsa(key.get())) return nullptr;
  // Read anew, so that the key belongs to the same library context as all others.
  std::optional<Data> numbers = externalRepresentation(key.get());
  if (!numbers) return nullptr;
  KeyReference own = rsaKeyOfPkcs1(*numbers, KeyPart::Private);
  wipe(*numbers);
  return own;
}

}  // namespace kelm
