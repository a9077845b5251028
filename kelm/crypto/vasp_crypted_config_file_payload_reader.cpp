#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"

#include <memory>
#include <utility>
#include <variant>

#include "kelm/base/coding/json.h"
#include "kelm/base/data.h"
#include "kelm/base/result.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_rsa.h"
#include "kelm/crypto/vasp_sha2.h"
#include "kelm/logging/call_stack.h"
#include "kelm/platform/file_system.h"

namespace kelm {

namespace {

using Reader = VaspCryptedConfigFilePayloadReader;

struct Secrets {
  std::optional<Data> key;
  std::optional<Data> iv;
  std::optional<Data> certificate;

  ~Secrets() {
    if (key) wipe(*key);
  }
};

const Value* memberOf(const Value& object, std::string_view name) {
  const auto* const dictionary = object.get<Dictionary>();
  return dictionary != nullptr ? dictionary->find(name) : nullptr;
}

/// The decoded text member of a JSON object; absent, with a line, when there is none.
std::optional<Data> base64Member(const Value& object, std::string_view name) {
  const Value* const member = memberOf(object, name);
  return VaspBase64::dataOfBase64String(member != nullptr ? member->text() : std::nullopt);
}

/// The ciphertext that a file holds; absent when it is no JSON or holds none.
std::optional<Data> ciphertextOf(DataView file) {
  const Result<Value> document = parseJson(textOf(file));
  return base64Member(document ? *document : Value(), "data");
}

bool isSigned(const Value& configuration, const std::optional<Data>& signature,
              const std::optional<Data>& certificate) {
  const std::string text = canonicalText(configuration);
  const std::shared_ptr<VaspRSA> rsa = VaspRSA::initWithPublicKey(certificate);
  return rsa && rsa->check_withSign_withPadding(bytesOf(text), signature,
                                                VaspRSA::kSha256SignaturePadding);
}

/// The configuration, or the code of what is wrong.
std::variant<Value, std::int64_t> openedContent(const std::optional<Data>& ciphertext,
                                                const Secrets& secrets) {
  std::optional<Data> plain =
      VaspAES::aesDecryptData_WithBytesKey_withBytesIV(ciphertext, secrets.key, secrets.iv);
  if (!plain) return Reader::kUndecryptableContent;
  Result<Value> document = parseJson(textOf(*plain));
  wipe(*plain);
  if (!document) return Reader::kMalformedContent;
  const Value* const wrapped = memberOf(*document, "kelm");
  const Value& envelope = wrapped != nullptr ? *wrapped : *document;
  const std::optional<Data> signature = base64Member(envelope, "signature");
  const Value* const configuration = memberOf(envelope, "configuration");
  if (configuration == nullptr || !isSigned(*configuration, signature, secrets.certificate))
    return Reader::kInvalidSignature;
  return *configuration;
}

}  // namespace

Reader Reader::initWithConfigurationErrorDomain(std::string domain) {
  return Reader(std::move(domain));
}

std::optional<VaspCryptedConfigFilePayload>
Reader::configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
    const std::string& path, std::optional<std::string_view> base64Certificate,
    std::optional<std::string_view> base64IV, std::optional<std::string_view> base64Key,
    std::optional<Error>* error) const {
  const auto fail = [this, error](std::int64_t code) {
    if (error != nullptr) *error = getConfigurationErrorWithCode(code);
    return std::nullopt;
  };
  const Secrets secrets{VaspBase64::dataOfBase64String(base64Key),
                        VaspBase64::dataOfBase64String(base64IV),
                        VaspBase64::dataOfBase64String(base64Certificate)};
  const Result<Data> file = platform::current<platform::FileSystem>()->readFile(path);
  if (!file || file->empty()) return fail(kUnreadableFile);
  const std::optional<Data> ciphertext = ciphertextOf(*file);
  auto content = openedContent(ciphertext, secrets);
  if (const auto* const code = std::get_if<std::int64_t>(&content)) return fail(*code);
  return VaspCryptedConfigFilePayload{
      VaspBase64::base64OfData(VaspSha2::sha256ByteDigestForData(ciphertext)),
      std::get<Value>(std::move(content))};
}

Error Reader::getConfigurationErrorWithCode(std::int64_t code) const {
  Error error = Error::make(domain_, code);
  List lines;
  for (std::string& line : logging::callStackSymbols())
    lines.emplace_back(std::move(line));
  error.userInfo.set("stack_trace", std::move(lines));
  return error;
}

List Reader::makePayload(const Value& configuration) const {
  List values;
  makePayloadGeneric_inArray(configuration, values);
  return values;
}

void Reader::makePayloadFromObject_inArray(const Dictionary& object, List& values) const {
  appendCanonicalValues(object, values);
}

void Reader::makePayloadFromArray_inArray(const List& array, List& values) const {
  appendCanonicalValues(array, values);
}

void Reader::makePayloadGeneric_inArray(const Value& value, List& values) const {
  appendCanonicalValues(value, values);
}

bool Reader::isNSNumberANdWrappingBool(const Value& value) const {
  return value.get<bool>() != nullptr;
}

}  // namespace kelm
