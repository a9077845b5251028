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

// Every key is made here, of plain RSA, from numbers that follow the key rule (rsa_numbers.h).

/// Returns the private key of a new pair. Null for sizes that are not served.
KeyReference newRsaKey(int bits);

/// Returns the key that a DER X.509 certificate (RFC 5280) is about; null when it is not of plain
/// RSA, malformed or against the key rule. Absent for anything that is not exactly one
/// certificate in DER.
std::optional<KeyReference> publicKeyOfCertificate(DataView der);

/// Returns an RSA key from its PKCS#1 form (RFC 8017, appendix A.1), the whole of `der`. Null for
/// anything else and for numbers against the key rule.
KeyReference rsaKeyOfPkcs1(DataView der, KeyPart part);
/// The public half of an RSA private key.
KeyReference publicHalfOf(const CryptoKey& privateKey);
bool isPublicHalfOf(const CryptoKey& publicKey, const CryptoKey& privateKey);
/// Returns the PKCS#1 form. Absent for a null key. A private key's bytes are the caller's to wipe.
std::optional<Data> externalRepresentation(const CryptoKey* key);

}  // namespace kelm
