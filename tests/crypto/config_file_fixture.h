#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"
#include "kelm/testing/test_platform.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::testing {

/// A file in memory, sealed as the test wants it, and what the reader makes of it.
class ConfigFileWorld {
 public:
  static constexpr const char* kPath = "/sealed.json";
  const Data key = dataOf(kSecretKey);
  const Data iv = dataOf(kSecretIV);
  std::string base64Certificate = base64Of(fileOf("certificate_rsa.der"));
  std::string base64Key = base64Of(key);
  TestPlatform services;
  LogCapture log;

  void store(DataView content) { (void)services.fileSystem->replaceFile(kPath, content); }
  /// Encrypts the inner document.
  Data seal(const std::string& inner) const {
    const auto ciphertext =
        VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytesOf(inner), key, iv);
    return dataOf(*writeJson(Dictionary{{"data", base64Of(*ciphertext)}}));
  }
  void storeSealed(const std::string& inner) { store(seal(inner)); }
  /// An envelope that is signed over `signedText`.
  static std::string envelope(const std::string& configuration, const std::string& signedText) {
    const auto signature =
        privateHalf()->sign_withPadding(bytesOf(signedText), VaspRSA::kSha256SignaturePadding);
    return "{\"configuration\":" + configuration + ",\"signature\":\"" +
           base64Of(signature.value_or(Data())) + "\"}";
  }

  std::optional<VaspCryptedConfigFilePayload> open() {
    return reader.configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
        kPath, base64Certificate, base64Of(iv), base64Key, &error);
  }
  /// 0 when the file opens.
  std::int64_t openedWith() {
    error.reset();
    if (const auto payload = open()) return error ? -1 : 0;
    return error ? error->code : -1;
  }

  const VaspCryptedConfigFilePayloadReader reader =
      VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("test.configuration");
  std::optional<Error> error;

 private:
  TestScope scope_{services};
};

}  // namespace kelm::testing
