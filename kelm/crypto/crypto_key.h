#pragma once

#include <openssl/evp.h>

#include <memory>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

struct FreeOpenSslKey {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using OpenSslKey = std::unique_ptr<EVP_PKEY, FreeOpenSslKey>;

enum class KeyPart { Public, Private };

struct CryptoKey {
  OpenSslKey native;
  KeyPart part;
};

/// The sizes of an RSA modulus that are served: below, a signature does not fit; above, one
/// operation takes seconds.
inline constexpr int kLeastRsaBits = 512;
inline constexpr int kMostRsaBits = 8192;

/// Null for a null key.
KeyReference makeKey(OpenSslKey key, KeyPart part);
/// True for a key of plain RSA (not RSASSA-PSS) of a size that is served.
bool isServedRsa(const CryptoKey* key);

/// The key that a DER X.509 certificate (RFC 5280) is about; null when its algorithm is unknown or
/// its key malformed. Absent for anything that is not exactly one certificate in DER.
std::optional<KeyReference> publicKeyOfCertificate(DataView der);

/// An RSA key from its PKCS#1 form (RFC 8017, appendix A.1), the whole of `der`. Null for anything
/// else and for sizes that are not served.
KeyReference rsaKeyOfPkcs1(DataView der, KeyPart part);
/// The public half of an RSA private key.
KeyReference publicHalfOf(const CryptoKey& privateKey);
bool isPublicHalfOf(const CryptoKey& publicKey, const CryptoKey& privateKey);
/// PKCS#1 of RSA keys, the point of elliptic-curve public keys. Absent when there is none. A
/// private key's bytes are the caller's to wipe.
std::optional<Data> externalRepresentation(const CryptoKey* key);

}  // namespace kelm
