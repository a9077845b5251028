#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

/// What stands before the uncompressed point in a SubjectPublicKeyInfo (RFC 5280, 5480) of each
/// curve, and the algorithm identifier of RSA (RFC 3279).
inline constexpr std::array<std::uint8_t, 26> kCryptoExportImportManagerSecp256r1header = {
    0x30, 0x59, 0x30, 0x13, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01,
    0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07, 0x03, 0x42, 0x00};
inline constexpr std::array<std::uint8_t, 23> kCryptoExportImportManagerSecp384r1header = {
    0x30, 0x76, 0x30, 0x10, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02,
    0x01, 0x06, 0x05, 0x2B, 0x81, 0x04, 0x00, 0x22, 0x03, 0x62, 0x00};
inline constexpr std::array<std::uint8_t, 25> kCryptoExportImportManagerSecp521r1header = {
    0x30, 0x81, 0x9B, 0x30, 0x10, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02,
    0x01, 0x06, 0x05, 0x2B, 0x81, 0x04, 0x00, 0x23, 0x03, 0x81, 0x86, 0x00};
inline constexpr std::array<std::uint8_t, 15> kCryptoExportImportManagerRSAOIDHeader = {
    0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01, 0x05, 0x00};

/// Turns public keys into SubjectPublicKeyInfo, as DER and as PEM (RFC 7468), and reads the one of
/// a certificate. A raw key is the PKCS#1 form of RSA or the uncompressed point of a curve; it is
/// wrapped as it is, not looked into. Stateless and thread-safe. Never throws, never logs.
class KELM_API CryptoExportImportManager {
 public:
  /// `exportPublicKeyToDER:keyType:keySize:` By key type, `kSecAttrKeyTypeRSA` or
  /// `kSecAttrKeyTypeEC`; absent for every other. `keySize`: bits.
  std::optional<Data> exportPublicKeyToDER_keyType_keySize(DataView rawKey,
                                                           std::string_view keyType,
                                                           std::int64_t keySize) const;
  /// `exportPublicKeyToPEM:keyType:keySize:` The same as PEM.
  std::optional<std::string> exportPublicKeyToPEM_keyType_keySize(DataView rawKey,
                                                                  std::string_view keyType,
                                                                  std::int64_t keySize) const;
  /// `exportRSAPublicKeyToDER:keyType:keySize:` Key type and size do not count.
  Data exportRSAPublicKeyToDER_keyType_keySize(DataView rawKey, std::string_view keyType,
                                               std::int64_t keySize) const;
  /// `exportRSAPublicKeyToPEM:keyType:keySize:` The same as PEM.
  std::string exportRSAPublicKeyToPEM_keyType_keySize(DataView rawKey, std::string_view keyType,
                                                      std::int64_t keySize) const;
  /// `exportECPublicKeyToDER:keyType:keySize:` The header of the curve of that size (256, 384 or
  /// 521 bits), whatever the point's length; for any other size the raw key as it is. The key
  /// type does not count.
  Data exportECPublicKeyToDER_keyType_keySize(DataView rawKey, std::string_view keyType,
                                              std::int64_t keySize) const;
  /// `exportECPublicKeyToPEM:keyType:keySize:` The same as PEM.
  std::string exportECPublicKeyToPEM_keyType_keySize(DataView rawKey, std::string_view keyType,
                                                     std::int64_t keySize) const;
  /// `PEMKeyFromDERKey:` Base64 in lines of 64 characters between the two marks; no line end after
  /// the last mark.
  std::string PEMKeyFromDERKey(DataView der) const;
  /// `importPublicKeyReferenceFromDERCertificate:` Returns the public key of an X.509 certificate
  /// (RFC 5280). Null when the bytes are not exactly one certificate in DER, and for keys that are
  /// not of plain RSA, have less than 512 or more than 8,192 bits, or an exponent that is even or
  /// below 3.
  KeyReference importPublicKeyReferenceFromDERCertificate(DataView certificate) const;
  /// `bytesNeededForRepresentingInteger:` 1 to 8; 0 for numbers below 1.
  std::size_t bytesNeededForRepresentingInteger(std::int64_t number) const;
  /// `encodeASN1LengthParameter:buffer:` Writes the DER form of a length (X.690, 10.1); the count
  /// of bytes written. Lengths have 63 bits.
  std::size_t encodeASN1LengthParameter_buffer(std::size_t length,
                                               std::span<std::uint8_t, 9> buffer) const;
};

}  // namespace kelm
