#pragma once

#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

/// Builds RSA public keys from their numbers. Stateless and thread-safe. Never throws,
/// never logs.
class KELM_API VaspRSAKeyUtil {
 public:
  VaspRSAKeyUtil() = delete;

  /// `generateRSAPublicKeyWithModulus:exponent:` The PKCS#1 RSAPublicKey (RFC 8017, A.1.1) of two
  /// numbers, most significant byte first, as they are given; only the modulus gets the zero byte
  /// that keeps it positive. Absent when either is absent. Not DER for an exponent that is empty,
  /// negative or longer than 127 bytes, nor for 64 KiB and more.
  static std::optional<Data> generateRSAPublicKeyWithModulus_exponent(
      std::optional<DataView> modulus, std::optional<DataView> exponent);
  /// `generateRSAKeyWithHexModulus:andHexExponent:type:` The public key of two numbers in
  /// hexadecimal, read as `VaspCryptoUtils` does, kept in the item store under the text
  /// "modulus|exponent". Null for every key class but `kSecAttrKeyClassPublic`.
  static KeyReference generateRSAKeyWithHexModulus_andHexExponent_type(std::string_view hexModulus,
                                                                       std::string_view hexExponent,
                                                                       std::string_view keyClass);
  /// `dataKeyToSecKeyRef:withFingerprint:forKeyType:` Keeps a key of PKCS#1 form in the item store
  /// in place of the one of that fingerprint and key class, and reads it back. Null when the store
  /// refuses, and when what it returns is no RSA key of 512 to 8192 bits.
  static KeyReference dataKeyToSecKeyRef_withFingerprint_forKeyType(DataView der,
                                                                    std::string_view fingerprint,
                                                                    std::string_view keyClass);
  /// `sha1FromStringInHex:` The bytes of the text itself, in spite of the name: what tags of keys
  /// that are kept already are made of.
  static Data sha1FromStringInHex(std::string_view text);
};

}  // namespace kelm
