// link: kelm_crypto kelm_test_support
// Sealed configurations. Input: a line of Base64, the certificate; a line "file" or "content"; the
// rest is the whole file, or what it decrypts to.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/support/silence.h"
#include "kelm/base/json.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"
#include "tests/support/test_platform.h"

namespace {

using namespace kelm;

constexpr const char* kPath = "/sealed.json";
const DataView kKey = bytesOf("0123456789abcdef");
const DataView kIV = bytesOf("fedcba9876543210");

std::string_view takeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(rest.size(), line.size() + 1));
  return line;
}

std::string sealed(std::string_view content) {
  const auto ciphertext =
      VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytesOf(content), kKey, kIV);
  return *writeJson(Dictionary{{"data", VaspBase64::base64OfData(ciphertext)}});
}

}  // namespace

/// A file opens, or gives one error of the four. The only text that the seeds' key has signed is
/// "signed text", so nothing else can be in a file that opens.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::silenceLog();
  std::string_view rest = textOf(DataView(bytes, size));
  const std::string_view certificate = takeLine(rest);
  const bool isContent = takeLine(rest) == "content";
  const test::TestPlatform services;
  const test::TestScope scope(services);
  const std::string file = isContent ? sealed(rest) : std::string(rest);
  if (services.fileSystem->replaceFile(kPath, bytesOf(file))) std::abort();
  const auto reader = VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("fuzz");
  std::optional<Error> error;
  const auto payload =
      reader.configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
          kPath, certificate, VaspBase64::base64OfData(kIV), VaspBase64::base64OfData(kKey),
          &error);
  if (payload.has_value() == error.has_value()) std::abort();
  if (error && (error->code < 1 || error->code > 4)) std::abort();
  if (isContent && error && error->code < 3) std::abort();
  if (payload && canonicalText(payload->kelmPayload) != "signed text") std::abort();
  return 0;
}
