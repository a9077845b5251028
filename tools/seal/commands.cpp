#include "tools/seal/commands.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <string>

#include "kelm/base/coding/json.h"
#include "kelm/base/describe.h"
#include "kelm/base/error.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_signed_string.h"
#include "tools/seal/sealing.h"

namespace kelm::seal {

namespace {

constexpr std::uint32_t kKeyBytes = 32;
constexpr std::uint32_t kVectorBytes = 16;

template <class T>
T require(Result<T> result) {
  if (!result) throw Problem(result.error().localizedDescription());
  return *std::move(result);
}

/// Without what would move the cursor or change colours.
std::string shown(std::string_view text) {
  std::string safe;
  char before = 0;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    // U+0080 to U+009F are control characters, too: C2 and one of 80 to 9F.
    const bool endsControl = before == '\xC2' && byte >= 0x80 && byte < 0xA0;
    if (endsControl) safe.replace(safe.size() - 1, 1, "\\xc2");
    if (byte < 0x20 || byte == 0x7F || endsControl)
      safe += "\\x" + VaspCryptoUtils::hexadecimalStringOfData(Data{byte});
    else
      safe += letter;
    before = letter;
  }
  return safe;
}

std::string sentenceOf(const Error& error) {
  switch (error.code) {
    case VaspCryptedConfigFilePayloadReader::kUnreadableFile:
      return "the file cannot be read or is empty";
    case VaspCryptedConfigFilePayloadReader::kUndecryptableContent:
      return "not a sealed file, or the key or the vector is wrong";
    case VaspCryptedConfigFilePayloadReader::kMalformedContent:
      return "the key or the vector is wrong, or the content is damaged";
    default:
      return "the signature is not that of the certificate";
  }
}

VaspCryptedConfigFilePayload opened(const std::string& path, const std::string& certificate,
                                    DataView key, DataView iv) {
  const auto reader = VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("seal");
  std::string base64Key = VaspBase64::base64OfData(key);
  std::optional<Error> error;
  auto payload =
      reader.configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
          path, certificate, VaspBase64::base64OfData(iv), base64Key, &error);
  wipe(base64Key);
  if (!payload) throw Problem(path + ": " + sentenceOf(*error));
  return *std::move(payload);
}

void showSigned(const Value& configuration, std::ostream& remarks) {
  remarks << "signing the values, without their keys:\n"
          << shown(canonicalText(configuration)) << '\n';
  const List values =
      VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("").makePayload(
          configuration);
  const bool isAmbiguous = std::ranges::any_of(values, [](const Value& value) {
    return value.text().value_or(std::string_view()).find(';') != std::string_view::npos;
  });
  if (isAmbiguous)
    remarks << "note: a value holds \";\": the signature holds for the values on either side of "
               "it, too\n";
}

void makeKey(const Options& options, std::ostream& /*out*/, std::ostream& remarks) {
  const struct {
    const char* option;
    std::uint32_t bytes;
  } rows[] = {{"key", kKeyBytes}, {"iv", kVectorBytes}};
  checkOutputs(options, std::array{"key", "iv"});
  for (const auto& row : rows) {
    const std::string path = options.path(row.option);
    const Secret bytes(VaspCryptoUtils::getRandom(row.bytes));
    std::string text = VaspBase64::base64OfData(bytes.bytes()) + '\n';
    writeFile(path, bytesOf(text));
    wipe(text);
    remarks << "wrote " << row.bytes << " random bytes to " << path << '\n';
  }
}

/// A file beside another, under a name that nobody has; gone when it is dropped, whatever happened.
class Draft {
 public:
  Draft(const std::string& beside, DataView content)
      : path_(beside + ".unverified-" +
              VaspCryptoUtils::hexadecimalStringOfData(VaspCryptoUtils::getRandom(8))) {
    writeFile(path_, content);
  }
  ~Draft() {
    try {
      removeFile(path_);
    } catch (const Problem&) {  // what comes first is told
    }
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void sealConfiguration(const Options& options, std::ostream& out, std::ostream& remarks) {
  const std::string input = options.path("configuration");
  const std::string output = options.path("output");
  checkOutputs(options, std::array{"output"});
  const std::string certificate = base64Certificate(options);
  const Result<Value> configuration = parseJson(textOf(readFile(input)));
  if (!configuration) throw Problem(input + ": " + configuration.error().localizedDescription());
  const auto signer = privateKey(options);
  const Secret key = secretBytes(options, "key", "AES key in Base64");
  const Secret iv = secretBytes(options, "iv", "AES vector in Base64");
  showSigned(*configuration, remarks);
  const Data sealed =
      require(sealedConfiguration(*configuration, *signer, key.bytes(), iv.bytes()));
  // Read back as an application will, before an earlier file is replaced.
  const Draft draft(output, sealed);
  const auto payload = opened(draft.path(), certificate, key.bytes(), iv.bytes());
  if (payload.kelmPayload != *configuration)
    throw Problem("the configuration changes on its way through JSON");
  writeFile(output, sealed);
  out << payload.fileContentHashing << '\n';
  remarks << "sealed and verified: " << output << '\n';
}

void openConfiguration(const Options& options, std::ostream& out, std::ostream& remarks) {
  const std::string path = options.path("sealed");
  const std::string certificate = base64Certificate(options);
  const Secret key = secretBytes(options, "key", "AES key in Base64");
  const Secret iv = secretBytes(options, "iv", "AES vector in Base64");
  const auto payload = opened(path, certificate, key.bytes(), iv.bytes());
  remarks << "content hash: " << payload.fileContentHashing << '\n';
  const auto text = writeJson(payload.kelmPayload, JsonStyle::Pretty);
  out << (text ? *text : describe(payload.kelmPayload)) << '\n';
}

struct MaterialFile {
  const char* option;
  Data StringKeys::*member;
};
constexpr std::array<MaterialFile, 3> kMaterialFiles = {MaterialFile{"ck1", &StringKeys::ck1},
                                                        MaterialFile{"ck2", &StringKeys::ck2},
                                                        MaterialFile{"cks", &StringKeys::cks}};

/// Makes the signed string as an application does.
void verifyString(const std::string& certificate, const StringKeys& keys, std::string_view text,
                  const std::string& checksum) {
  VaspSignedString::setCers(certificate);
  VaspSignedString::setCK1(keys.ck1);
  VaspSignedString::setCK2(keys.ck2);
  VaspSignedString::setCKS(keys.cks);
  try {
    (void)VaspSignedString::initWithString_checksum(text, checksum);
  } catch (const Exception& exception) {
    throw Problem("the key material does not belong to the certificate: " + exception.reason());
  }
}

void makeStringMaterial(const Options& options, std::ostream& /*out*/, std::ostream& remarks) {
  checkOutputs(options, std::array{"ck1", "ck2", "cks"});
  const std::string certificate = base64Certificate(options);
  const auto signer = privateKey(options);
  remarks << "signing a new random salt of 32 bytes\n";
  const StringKeys keys = require(makeStringKeys(*signer));
  constexpr std::string_view kProbe = "probe";
  verifyString(certificate, keys, kProbe, require(checksumOf(kProbe, keys.ck1, keys.ck2)));
  for (const MaterialFile& file : kMaterialFiles) {
    const std::string path = options.path(file.option);
    writeFile(path, bytesOf(VaspBase64::base64OfData(keys.*file.member) + '\n'));
    remarks << "wrote " << path << '\n';
  }
}

void signString(const Options& options, std::ostream& out, std::ostream& remarks) {
  const Secret text = readText(options.path("text"));
  const std::string certificate = base64Certificate(options);
  StringKeys keys;
  for (const MaterialFile& file : kMaterialFiles) {
    const std::string path = options.path(file.option);
    const Secret bytes = secretBytes(options, file.option, path);
    keys.*file.member = Data(bytes.bytes().begin(), bytes.bytes().end());
  }
  remarks << "text: " << shown(text.text()) << '\n';
  const std::string checksum = require(checksumOf(text.text(), keys.ck1, keys.ck2));
  verifyString(certificate, keys, text.text(), checksum);
  out << checksum << '\n';
}

constexpr std::array<Command, 5> kCommands = {
    Command{"make-key", "--key FILE --iv FILE [--force]",
            "Draw an AES key of 32 bytes and a vector of 16, in Base64.", makeKey},
    Command{"seal-configuration",
            "--configuration FILE --output FILE --certificate FILE --bundle FILE\n"
            "      [--bundle-password FILE] [--key FILE] [--iv FILE] [--force]",
            "Sign and encrypt a JSON configuration. Prints the hash of its content.",
            sealConfiguration},
    Command{"open-configuration", "--sealed FILE --certificate FILE [--key FILE] [--iv FILE]",
            "Check a sealed configuration and print it.", openConfiguration},
    Command{"make-string-keys",
            "--ck1 FILE --ck2 FILE --cks FILE --certificate FILE --bundle FILE\n"
            "      [--bundle-password FILE] [--force]",
            "Make the key material of signed strings: two halves of a salt and its signature.",
            makeStringMaterial},
    Command{"sign-string", "--text FILE --ck1 FILE --ck2 FILE --cks FILE --certificate FILE",
            "Print the checksum of a text (without the line end at its end).", signString},
};

}  // namespace

std::span<const Command> commands() { return kCommands; }

}  // namespace kelm::seal
