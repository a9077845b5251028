#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/collection_bytes.h"
#include "kelm/crypto/key_reference.h"

namespace kelm {

/// An RSA key pair of 512 to 8192 bits, of which either half may be missing: PKCS#1 v1.5 (RFC 8017)
/// encryption (not safe where a peer sees whether its ciphertexts decrypt) and signatures. What is
/// absent or false comes with one ERROR line unless it says otherwise. Shares its keys with their
/// other holders. Constant operations are thread-safe; none throws.
class KELM_API VaspRSA {
 public:
  static constexpr std::uint32_t kEncryptionPadding = 1;
  static constexpr std::uint32_t kSha1SignaturePadding = 32770;
  static constexpr std::uint32_t kSha256SignaturePadding = 32772;

  /// `generateKeyPairWithID:size:` Makes a new pair and keeps it in the item store, readable after
  /// the first unlock on this device alone, and in this object. False, with nothing kept, when the
  /// size is not served or the store refuses. Seconds for large sizes. Earlier pairs of the
  /// identifier stay, and are the ones that are read.
  bool generateKeyPairWithID_size(std::string_view identifier, std::int32_t sizeBits);
  /// `readKeyPairWithID:` Takes both halves from the item store, of the first pair that is whole;
  /// false, silent, with this object unchanged, when there is none.
  bool readKeyPairWithID(std::string_view identifier);
  /// `deleteKeyPairWithID:` Deletes both halves from the item store, silently; false unless both
  /// were there. Keys in memory stay.
  bool deleteKeyPairWithID(std::string_view identifier);

  /// `initWithSecKeyRefPublicKey:`
  static std::shared_ptr<VaspRSA> initWithSecKeyRefPublicKey(KeyReference key);
  /// `initWithSecKeyRefPrivateKey:`
  static std::shared_ptr<VaspRSA> initWithSecKeyRefPrivateKey(KeyReference key);
  /// `initWithPublicKey:` The RSA key of a DER X.509 certificate (RFC 5280), without a byte
  /// before or after it. Nobody vouches for it: dates, issuer and extensions do not count. Empty
  /// for anything else.
  static std::shared_ptr<VaspRSA> initWithPublicKey(std::optional<DataView> certificate);
  /// `initWithPrivateKey:withPassword:` The first RSA key of a PKCS#12 bundle (RFC 7292) with its
  /// certificate, of old ciphers too. Empty for anything else, a wrong password, and a bundle
  /// without a MAC.
  static std::shared_ptr<VaspRSA> initWithPrivateKey_withPassword(
      std::optional<DataView> bundle, std::optional<std::string_view> password);

  /// `encryptWithData:` As below, with padding 1.
  std::optional<Data> encryptWithData(std::optional<DataView> data) const;
  /// `encryptWithData:withPadding:` As many bytes as the modulus has. Up to 11 less can be
  /// encrypted; absent data counts as empty. The only padding is 1.
  std::optional<Data> encryptWithData_withPadding(std::optional<DataView> data,
                                                  std::uint32_t padding) const;
  /// `decryptWithData:` As below, with padding 1.
  std::optional<Data> decryptWithData(std::optional<DataView> data) const;
  /// `decryptWithData:withPadding:` What was encrypted. Absent for damaged data and for one of
  /// another length than the modulus, with the same line for every reason.
  std::optional<Data> decryptWithData_withPadding(std::optional<DataView> data,
                                                  std::uint32_t padding) const;

  /// `sign:` As below, with padding 32770.
  std::optional<Data> sign(std::optional<DataView> data) const;
  std::optional<Data> sign(const std::same_as<Value> auto& data) const {
    return sign(bytesOfValue(data));
  }
  /// `sign:withPadding:` Over the data's SHA-1 (32770) or SHA-256 (32772), as many bytes as the
  /// modulus has. Absent for absent and empty data, the null object, and other paddings.
  std::optional<Data> sign_withPadding(std::optional<DataView> data, std::uint32_t padding) const;
  std::optional<Data> sign_withPadding(const std::same_as<Value> auto& data,
                                       std::uint32_t padding) const {
    return sign_withPadding(bytesOfValue(data), padding);
  }
  /// `check:withSign:` As below, with padding 32770.
  bool check_withSign(std::optional<DataView> data, std::optional<DataView> signature) const;
  /// `check:withSign:withPadding:` True for a signature over the data. False, silent, for every
  /// other one, and for absent or empty data; with a line without a public key and for other
  /// paddings.
  bool check_withSign_withPadding(std::optional<DataView> data, std::optional<DataView> signature,
                                  std::uint32_t padding) const;

  /// `serializeSecKey:` PKCS#1 of an RSA key (RSAPublicKey or RSAPrivateKey; the latter is the
  /// caller's to wipe). Absent, with one WARN line, without a key.
  static std::optional<Data> serializeSecKey(const KeyReference& key);
  /// `__legacy__serializeSecKey:` The same by way of the item store, silently; absent when that
  /// refuses.
  static std::optional<Data> legacy_serializeSecKey(const KeyReference& key);
  /// `publicKeyToDER` The public key as a SubjectPublicKeyInfo.
  std::optional<Data> publicKeyToDER() const;

  const KeyReference& publicKey() const { return publicKey_; }
  const KeyReference& privateKey() const { return privateKey_; }

 private:
  KeyReference publicKey_;
  KeyReference privateKey_;
};

}  // namespace kelm
