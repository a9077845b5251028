#include "kelm/storage/kelm_data_encrypter.h"

#include "kelm/crypto/vasp_aes.h"

namespace kelm {

namespace {

constexpr std::string_view kSharedKey = "p8Hd3sVf6Jc0Ya5G";
constexpr std::string_view kSharedIV = "k4Rtz9Qm2Lw7Xb1N";

std::optional<DataView> utf8(std::optional<std::string_view> text) {
  return text ? std::optional<DataView>(bytesOf(*text)) : std::nullopt;
}

}  // namespace

KelmDataEncrypter& KelmDataEncrypter::sharedInstance() {
  static KelmDataEncrypter& kShared = []() -> KelmDataEncrypter& {
    auto* encrypter = new KelmDataEncrypter;
    encrypter->setIV(kSharedIV);
    encrypter->setKey(kSharedKey);
    return *encrypter;
  }();
  return kShared;
}

void KelmDataEncrypter::setKey(std::optional<std::string_view> key) { setDataKey(utf8(key)); }

void KelmDataEncrypter::setIV(std::optional<std::string_view> iv) { setDataIV(utf8(iv)); }

std::optional<Data> KelmDataEncrypter::encrypt(std::optional<DataView> data) const {
  if (!data) return std::nullopt;
  const SecretPointer key = aesKey_.get();
  const SecretPointer iv = aesIV_.get();
  return VaspAES::aesEncryptData_WithBytesKey_withBytesIV(data, viewOf(key), viewOf(iv));
}

std::optional<Data> KelmDataEncrypter::decrypt(std::optional<DataView> data) const {
  if (!data) return std::nullopt;
  const SecretPointer key = aesKey_.get();
  const SecretPointer iv = aesIV_.get();
  return VaspAES::aesDecryptData_WithBytesKey_withBytesIV(data, viewOf(key), viewOf(iv));
}

}  // namespace kelm
