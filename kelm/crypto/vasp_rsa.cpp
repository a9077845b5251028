#include "kelm/crypto/vasp_rsa.h"

#include <string>
#include <type_traits>

#include "kelm/crypto/crypto_export_import_manager.h"
#include "kelm/crypto/crypto_key.h"
#include "kelm/crypto/key_type.h"
#include "kelm/crypto/pkcs12.h"
#include "kelm/crypto/rsa_operations.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/items/item_store.h"

namespace kelm {

namespace {

constexpr LogAspect kAspects = log_aspect::kFrontend | log_aspect::kCrypto;
/// What the cipher reports: one status for every reason, so that nobody learns which it was.
constexpr std::int32_t kRefused = item_status::kParameter;

template <class... Arguments>
std::nullopt_t fail(const char* origin, FormatString<std::type_identity_t<Arguments>...> format,
                    const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message<Arguments...>(log_level::kError, kAspects, origin,
                                                             format, arguments...);
  return std::nullopt;
}

/// Absent for what is no padding of signatures.
std::optional<DigestKind> kindFor(std::uint32_t padding) {
  if (padding == VaspRSA::kSha1SignaturePadding) return DigestKind::Sha1;
  if (padding == VaspRSA::kSha256SignaturePadding) return DigestKind::Sha256;
  return std::nullopt;
}

}  // namespace

std::shared_ptr<VaspRSA> VaspRSA::initWithSecKeyRefPublicKey(KeyReference key) {
  auto rsa = std::make_shared<VaspRSA>();
  rsa->publicKey_ = std::move(key);
  return rsa;
}

std::shared_ptr<VaspRSA> VaspRSA::initWithSecKeyRefPrivateKey(KeyReference key) {
  auto rsa = std::make_shared<VaspRSA>();
  rsa->privateKey_ = std::move(key);
  return rsa;
}

std::shared_ptr<VaspRSA> VaspRSA::initWithPublicKey(std::optional<DataView> certificate) {
  constexpr const char* kOrigin = "-[VaspRSA initWithPublicKey:]";
  if (!certificate) {
    fail(kOrigin, "DER data is nil");
    return nullptr;
  }
  std::optional<KeyReference> key = publicKeyOfCertificate(*certificate);
  if (!key) {
    fail(kOrigin, "DER data is invalid");
    return nullptr;
  }
  // No chain is built: whether somebody trusts the certificate would not count.
  if (!*key) {
    fail(kOrigin, "Cant read public key from DER");
    return nullptr;
  }
  return initWithSecKeyRefPublicKey(*std::move(key));
}

std::shared_ptr<VaspRSA> VaspRSA::initWithPrivateKey_withPassword(
    std::optional<DataView> bundle, std::optional<std::string_view> password) {
  constexpr const char* kOrigin = "-[VaspRSA initWithPrivateKey:withPassword:]";
  if (!bundle) {
    fail(kOrigin, "P12 is nil");
    return nullptr;
  }
  if (!password) {
    fail(kOrigin, "password is nil");
    return nullptr;
  }
  KeyReference key = rsaPrivateKeyOfPkcs12(*bundle, *password);
  if (!key) {
    fail(kOrigin, "Can't read P12");
    return nullptr;
  }
  return initWithSecKeyRefPrivateKey(std::move(key));
}

std::optional<Data> VaspRSA::encryptWithData(std::optional<DataView> data) const {
  return encryptWithData_withPadding(data, kEncryptionPadding);
}

std::optional<Data> VaspRSA::encryptWithData_withPadding(std::optional<DataView> data,
                                                         std::uint32_t padding) const {
  constexpr const char* kOrigin = "-[VaspRSA encryptWithData:withPadding:]";
  if (!publicKey_) return fail(kOrigin, "Cant encrypt without a public key");
  const DataView bytes = data.value_or(DataView());
  const std::size_t block = rsaBlockBytes(*publicKey_);
  if (bytes.size() > block)
    return fail(kOrigin, "Cant encrypt %d bytes, because the key is %zd!",
                static_cast<int>(bytes.size()), block);
  std::optional<Data> result;
  if (padding == kEncryptionPadding) result = rsaEncrypt(*publicKey_, bytes);
  if (!result) fail(kOrigin, "RSA encryption failure: %@", kRefused);
  return result;
}

std::optional<Data> VaspRSA::decryptWithData(std::optional<DataView> data) const {
  return decryptWithData_withPadding(data, kEncryptionPadding);
}

std::optional<Data> VaspRSA::decryptWithData_withPadding(std::optional<DataView> data,
                                                         std::uint32_t padding) const {
  constexpr const char* kOrigin = "-[VaspRSA decryptWithData:withPadding:]";
  if (!privateKey_) return fail(kOrigin, "Can't decrypt without a private key");
  const DataView bytes = data.value_or(DataView());
  const std::size_t block = rsaBlockBytes(*privateKey_);
  if (bytes.size() > block)
    return fail(kOrigin, "Cant decrypt %d bytes, because the key is %zd!",
                static_cast<int>(bytes.size()), block);
  std::optional<Data> result;
  if (padding == kEncryptionPadding) result = rsaDecrypt(*privateKey_, bytes);
  if (!result)
    fail(kOrigin, "RSA Cant decrypt, error: %@",
         platform::sentenceOfItemStatus(item_status::kDecode));
  return result;
}

std::optional<Data> VaspRSA::sign(std::optional<DataView> data) const {
  return sign_withPadding(data, kSha1SignaturePadding);
}

std::optional<Data> VaspRSA::sign_withPadding(std::optional<DataView> data,
                                              std::uint32_t padding) const {
  constexpr const char* kOrigin = "-[VaspRSA sign:withPadding:]";
  if (!privateKey_) return fail(kOrigin, "Cant sign without a private key");
  if (!data) return fail(kOrigin, "Cant sign without a content");
  const std::optional<DigestKind> kind = kindFor(padding);
  if (!kind) return fail(kOrigin, "Cant sign, padding not valid %@", padding);
  if (data->empty()) return fail(kOrigin, "Cant sign, hashing not valid");
  std::optional<Data> signature = rsaSign(*privateKey_, *kind, *data);
  if (!signature) fail(kOrigin, "Sign generation error: %@", kRefused);
  return signature;
}

bool VaspRSA::check_withSign(std::optional<DataView> data,
                             std::optional<DataView> signature) const {
  return check_withSign_withPadding(data, signature, kSha1SignaturePadding);
}

bool VaspRSA::check_withSign_withPadding(std::optional<DataView> data,
                                         std::optional<DataView> signature,
                                         std::uint32_t padding) const {
  constexpr const char* kOrigin = "-[VaspRSA check:withSign:withPadding:]";
  if (!publicKey_) {
    fail(kOrigin, "Can't check sign without a public key");
    return false;
  }
  const std::optional<DigestKind> kind = kindFor(padding);
  if (!kind) {
    fail(kOrigin, "Padding not supported %@", padding);
    return false;
  }
  return data && signature && rsaIsSigned(*publicKey_, *kind, *data, *signature);
}

std::optional<Data> VaspRSA::serializeSecKey(const KeyReference& key) {
  std::optional<Data> bytes = externalRepresentation(key.get());
  if (!bytes)
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kWarn, kAspects, "-[VaspRSA serializeSecKey:]",
        "serializeSecKey will return nil because keyData is nil");
  return bytes;
}

std::optional<Data> VaspRSA::publicKeyToDER() const {
  constexpr const char* kOrigin = "-[VaspRSA publicKeyToDER]";
  if (!publicKey_) return fail(kOrigin, "Public key is nil");
  const std::optional<Data> raw = serializeSecKey(publicKey_);
  if (!raw) return std::nullopt;
  std::optional<Data> der = CryptoExportImportManager().exportPublicKeyToDER_keyType_keySize(
      *raw, kSecAttrKeyTypeRSA, 2048);  // the size does not count
  if (!der || der->empty()) {
    VaspLogger::logFormatted(log_level::kError, kAspects, kOrigin,
                             "Cant convert public key to DER %@", {});
    return std::nullopt;
  }
  return der;
}

}  // namespace kelm
