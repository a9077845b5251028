#pragma once

#include <cstddef>
#include <optional>

#include "kelm/base/data.h"
#include "kelm/crypto/crypto_key.h"
#include "kelm/crypto/digest.h"

// RSA (RFC 8017) with PKCS#1 v1.5 padding. Each result is absent when the cipher refuses: for a
// key of another kind, for data that does not fit.
namespace kelm {

/// The modulus length in bytes.
std::size_t rsaBlockBytes(const CryptoKey& key);

std::optional<Data> rsaEncrypt(const CryptoKey& key, DataView plain);
/// Absent, too, for wrong padding. Plain text is the caller's to wipe.
std::optional<Data> rsaDecrypt(const CryptoKey& key, DataView ciphertext);

/// Over the digest of the data; absent, too, for data that has none, that is empty data.
std::optional<Data> rsaSign(const CryptoKey& key, DigestKind kind, DataView data);
bool rsaIsSigned(const CryptoKey& key, DigestKind kind, DataView data, DataView signature);
/// True when the data was signed with SHA-1 or with SHA-256.
bool rsaIsSignedWithEither(const CryptoKey& key, DataView data, DataView signature);

}  // namespace kelm
