// link: kelm_crypto kelm_testing
// Sealed configurations. Input: a line of Base64, the certificate; a line "file" or "content"; the
// rest is the whole file, or what it decrypts to. A file opens, or gives one error of the four. The
// only text that the seeds' key has signed is "signed text", so nothing else can be in a file that
// opens.

#include <optional>
#include <string>

#include "fuzz/support/silence.h"
#include "fuzz/support/target.h"
#include "kelm/base/coding/json.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"
#include "kelm/testing/test_platform.h"

namespace kelm::fuzz {

static const DataView kKey = bytesOf("0123456789abcdef");
static const DataView kIV = bytesOf("fedcba9876543210");

static std::string sealed(std::string_view content) {
  const auto ciphertext =
      VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytesOf(content), kKey, kIV);
  return *writeJson(Dictionary{{"data", VaspBase64::base64OfData(ciphertext)}});
}

void run(DataView input) {
  silenceLog();
  std::string_view rest = textOf(input);
  const std::string_view certificate = takeLine(rest);
  const bool isContent = takeLine(rest) == "content";
  const testing::TestPlatform services;
  const testing::TestScope scope(services);
  const std::string file = isContent ? sealed(rest) : std::string(rest);
  require(!services.fileSystem->replaceFile("/sealed.json", bytesOf(file)));
  const auto reader = VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("fuzz");
  std::optional<Error> error;
  const auto payload =
      reader.configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
          "/sealed.json", certificate, VaspBase64::base64OfData(kIV),
          VaspBase64::base64OfData(kKey), &error);
  require(payload.has_value() != error.has_value());
  if (error) require(error->code >= (isContent ? 3 : 1) && error->code <= 4);
  if (payload) require(canonicalText(payload->kelmPayload) == "signed text");
}

}  // namespace kelm::fuzz
