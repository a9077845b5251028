#include "kelm/crypto/crypto_export_import_manager.h"

#include <bit>

#include "kelm/crypto/crypto_key.h"
#include "kelm/crypto/key_type.h"
#include "kelm/crypto/vasp_base64.h"

namespace kelm {

namespace {

constexpr std::uint8_t kSequenceTag = 0x30;
constexpr std::uint8_t kBitStringTag = 0x03;
constexpr std::size_t kPemLineLetters = 64;

DataView curveHeader(std::int64_t keySize) {
  switch (keySize) {
    case 256:
      return kCryptoExportImportManagerSecp256r1header;
    case 384:
      return kCryptoExportImportManagerSecp384r1header;
    case 521:
      return kCryptoExportImportManagerSecp521r1header;
    default:
      return {};
  }
}

}  // namespace

std::optional<Data> CryptoExportImportManager::exportPublicKeyToDER_keyType_keySize(
    DataView rawKey, std::string_view keyType, std::int64_t keySize) const {
  if (keyType == kSecAttrKeyTypeEC)
    return exportECPublicKeyToDER_keyType_keySize(rawKey, keyType, keySize);
  if (keyType == kSecAttrKeyTypeRSA)
    return exportRSAPublicKeyToDER_keyType_keySize(rawKey, keyType, keySize);
  return std::nullopt;
}

std::optional<std::string> CryptoExportImportManager::exportPublicKeyToPEM_keyType_keySize(
    DataView rawKey, std::string_view keyType, std::int64_t keySize) const {
  const auto der = exportPublicKeyToDER_keyType_keySize(rawKey, keyType, keySize);
  return der ? std::optional(PEMKeyFromDERKey(*der)) : std::nullopt;
}

Data CryptoExportImportManager::exportRSAPublicKeyToDER_keyType_keySize(
    DataView rawKey, std::string_view /*keyType*/, std::int64_t /*keySize*/) const {
  constexpr DataView kIdentifier = kCryptoExportImportManagerRSAOIDHeader;
  std::array<std::uint8_t, 9> bits;
  const std::size_t bitsSize = encodeASN1LengthParameter_buffer(rawKey.size() + 1, bits);
  std::array<std::uint8_t, 9> content;
  const std::size_t contentSize = encodeASN1LengthParameter_buffer(
      kIdentifier.size() + 1 + bitsSize + rawKey.size() + 1, content);
  Data der{kSequenceTag};
  append(der, DataView(content).first(contentSize));
  append(der, kIdentifier);
  der.push_back(kBitStringTag);
  append(der, DataView(bits).first(bitsSize));
  der.push_back(0);  // all bits of the last byte count
  append(der, rawKey);
  return der;
}

std::string CryptoExportImportManager::exportRSAPublicKeyToPEM_keyType_keySize(
    DataView rawKey, std::string_view keyType, std::int64_t keySize) const {
  return PEMKeyFromDERKey(exportRSAPublicKeyToDER_keyType_keySize(rawKey, keyType, keySize));
}

Data CryptoExportImportManager::exportECPublicKeyToDER_keyType_keySize(DataView rawKey,
                                                                       std::string_view /*keyType*/,
                                                                       std::int64_t keySize) const {
  Data der;
  append(der, curveHeader(keySize));
  append(der, rawKey);
  return der;
}

std::string CryptoExportImportManager::exportECPublicKeyToPEM_keyType_keySize(
    DataView rawKey, std::string_view keyType, std::int64_t keySize) const {
  return PEMKeyFromDERKey(exportECPublicKeyToDER_keyType_keySize(rawKey, keyType, keySize));
}

std::string CryptoExportImportManager::PEMKeyFromDERKey(DataView der) const {
  const std::string letters = VaspBase64::base64OfData(der);
  std::string pem = "-----BEGIN PUBLIC KEY-----\n";
  for (std::size_t at = 0; at < letters.size(); at += kPemLineLetters)
    pem.append(letters, at, kPemLineLetters).push_back('\n');
  return pem + "-----END PUBLIC KEY-----";
}

KeyReference CryptoExportImportManager::importPublicKeyReferenceFromDERCertificate(
    DataView certificate) const {
  return publicKeyOfCertificate(certificate).value_or(nullptr);
}

std::size_t CryptoExportImportManager::bytesNeededForRepresentingInteger(
    std::int64_t number) const {
  if (number < 1) return 0;
  return (static_cast<std::size_t>(std::bit_width(static_cast<std::uint64_t>(number))) + 7) / 8;
}

std::size_t CryptoExportImportManager::encodeASN1LengthParameter_buffer(
    std::size_t length, std::span<std::uint8_t, 9> buffer) const {
  if (length < 128) {
    buffer[0] = static_cast<std::uint8_t>(length);
    return 1;
  }
  const std::size_t count = bytesNeededForRepresentingInteger(static_cast<std::int64_t>(length));
  buffer[0] = static_cast<std::uint8_t>(0x80 + count);
  for (std::size_t i = count; i > 0; --i, length >>= 8)
    buffer[i] = static_cast<std::uint8_t>(length);
  return count + 1;
}

}  // namespace kelm
