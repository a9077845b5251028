#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/result.h"
#include "kelm/base/value.h"
#include "kelm/crypto/vasp_rsa.h"

// The writing halves of the two formats that the library reads: sealed configuration files
// (VaspCryptedConfigFilePayloadReader) and signed strings (VaspSignedString). Whoever can call
// these with the real keys can issue what applications trust: they belong on the issuer's machine.
namespace kelm::seal {

/// Seals a configuration: signs its canonical text with the private key (PKCS#1 v1.5, SHA-256),
/// encrypts both with AES-CBC, wraps them as JSON. `key`: 16, 24 or 32 bytes; `iv`: 16. Use each
/// vector once with a key. An error for other sizes, for a configuration without any value (its
/// signature could not be checked) and one that is no JSON.
Result<Data> sealedConfiguration(const Value& configuration, const VaspRSA& signer, DataView key,
                                 DataView iv);

/// What an application sets before its first signed string.
struct StringKeys {
  Data ck1;  ///< the halves of the salt
  Data ck2;
  Data cks;  ///< the signature over the salt
};

/// Draws a new salt of 32 bytes and signs it with the private key.
Result<StringKeys> makeStringKeys(const VaspRSA& signer);

/// The checksum of a text, in Base64. An error for an empty text and halves of different lengths.
Result<std::string> checksumOf(std::string_view text, DataView ck1, DataView ck2);

}  // namespace kelm::seal
