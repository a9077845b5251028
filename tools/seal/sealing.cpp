#include "tools/seal/sealing.h"

#include <optional>

#include "kelm/base/coding/json.h"
#include "kelm/base/error.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_pbkdf2.h"

namespace kelm::seal {

namespace {

constexpr std::uint32_t kSaltBytes = 32;
constexpr std::uint32_t kChecksumBytes = 32;
constexpr std::uint32_t kChecksumRounds = 1024;
constexpr std::size_t kVectorBytes = 16;

Error failure(std::string_view sentence) { return Error::make("seal", 1, sentence); }

Result<Data> signatureOver(DataView bytes, const VaspRSA& signer) {
  std::optional<Data> signature = signer.sign_withPadding(bytes, VaspRSA::kSha256SignaturePadding);
  if (!signature) return failure("the private key cannot sign");
  return *std::move(signature);
}

bool isKeySize(std::size_t bytes) { return bytes == 16 || bytes == 24 || bytes == 32; }

}  // namespace

Result<Data> sealedConfiguration(const Value& configuration, const VaspRSA& signer, DataView key,
                                 DataView iv) {
  if (!isKeySize(key.size())) return failure("the key must have 16, 24 or 32 bytes");
  if (iv.size() != kVectorBytes) return failure("the vector must have 16 bytes");
  const std::string text = canonicalText(configuration);
  if (text.empty()) return failure("the configuration has no value that could be signed");
  const Result<Data> signature = signatureOver(bytesOf(text), signer);
  if (!signature) return signature.error();
  std::optional<std::string> inner = writeJson(
      Dictionary{{"kelm", Dictionary{{"configuration", configuration},
                                     {"signature", VaspBase64::base64OfData(*signature)}}}});
  if (!inner) return failure("the configuration cannot be written as JSON");
  const auto ciphertext =
      VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytesOf(*inner), key, iv);
  wipe(*inner);
  if (!ciphertext) return failure("the encryption failed");
  return dataOf(*writeJson(Dictionary{{"data", VaspBase64::base64OfData(*ciphertext)}}));
}

Result<StringKeys> makeStringKeys(const VaspRSA& signer) {
  Data salt = VaspCryptoUtils::getRandom(kSaltBytes);
  StringKeys keys;
  keys.ck1 = VaspCryptoUtils::getRandom(kSaltBytes);
  keys.ck2 = *VaspCryptoUtils::xorData_withData(salt, keys.ck1);
  Result<Data> signature = signatureOver(salt, signer);
  wipe(salt);
  if (!signature) return signature.error();
  keys.cks = *std::move(signature);
  return keys;
}

Result<std::string> checksumOf(std::string_view text, DataView ck1, DataView ck2) {
  std::optional<Data> salt = VaspCryptoUtils::xorData_withData(ck1, ck2);
  if (!salt) return failure("the halves of the salt differ in length");
  const auto checksum = VaspPBKDF2::pbkdf2OfPassword_withSalt_expectingSize_performingRound(
      text, *salt, kChecksumBytes, kChecksumRounds);
  wipe(*salt);
  if (!checksum) return failure("the text or the salt is empty");
  return VaspBase64::base64OfData(*checksum);
}

}  // namespace kelm::seal
