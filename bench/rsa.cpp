// link: kelm_crypto
// RSA-2048, certificates, sealed configurations and signed strings beside OpenSSL as its manual
// shows it, with loaded keys where nothing else is said.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "bench/support/pairs.h"
#include "kelm/base/coding/json.h"
#include "kelm/crypto/canonical_text.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypted_config_file_payload_reader.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_pbkdf2.h"
#include "kelm/crypto/vasp_rsa.h"
#include "kelm/crypto/vasp_signed_string.h"
#include "kelm/crypto/zu_sign_checker.h"

namespace {

using bench::addPair;

using benchmark::DoNotOptimize;
using benchmark::State;
using kelm::Data;
using kelm::DataView;
using kelm::VaspBase64;
using kelm::VaspRSA;

constexpr std::size_t kConfigurationBytes = 100 * 1024;

void check(bool holds) {
  if (!holds) std::abort();
}

template <class T, class Write>
Data encoded(T* object, Write write) {
  unsigned char* bytes = nullptr;
  const int size = write(object, &bytes);
  check(size > 0);
  Data result(bytes, bytes + size);
  OPENSSL_free(bytes);
  return result;
}

/// A self-signed certificate of a new key.
X509* makeCertificate(EVP_PKEY* key) {
  X509* const certificate = X509_new();
  X509_NAME* const name = X509_get_subject_name(certificate);
  check(X509_set_version(certificate, X509_VERSION_3) == 1 &&
        ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1) == 1 &&
        X509_gmtime_adj(X509_getm_notBefore(certificate), 0) != nullptr &&
        X509_gmtime_adj(X509_getm_notAfter(certificate), 86400) != nullptr &&
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("bench"), -1, -1,
                                   0) == 1 &&
        X509_set_issuer_name(certificate, name) == 1 && X509_set_pubkey(certificate, key) == 1 &&
        X509_sign(certificate, key, EVP_sha256()) > 0);
  return certificate;
}

/// One key on both sides; its objects live as long as the program.
struct Signer {
  EVP_PKEY* key = EVP_RSA_gen(2048);
  X509* certificate = makeCertificate(key);
  Data der = encoded(certificate, i2d_X509);
  std::string base64 = VaspBase64::base64OfData(der);
  std::shared_ptr<VaspRSA> ours = VaspRSA::initWithPublicKey(der);
  std::shared_ptr<VaspRSA> oursPrivate = [this] {
    PKCS12* const bundle =
        PKCS12_create("secret", "bench", key, certificate, nullptr, 0, 0, 0, 0, 0);
    return VaspRSA::initWithPrivateKey_withPassword(encoded(bundle, i2d_PKCS12), "secret");
  }();
};

const Signer& signer() {
  static const auto* const kSigner = new Signer;
  return *kSigner;
}

Data signedAsInTheManual(const Data& data) {
  EVP_MD_CTX* const context = EVP_MD_CTX_new();
  std::size_t size = 0;
  check(EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, signer().key) == 1 &&
        EVP_DigestSign(context, nullptr, &size, data.data(), data.size()) == 1);
  Data signature(size);
  check(EVP_DigestSign(context, signature.data(), &size, data.data(), data.size()) == 1);
  EVP_MD_CTX_free(context);
  return signature;
}

bool verifiedAsInTheManual(EVP_PKEY* key, DataView data, DataView signature) {
  EVP_MD_CTX* const context = EVP_MD_CTX_new();
  check(EVP_DigestVerifyInit(context, nullptr, EVP_sha256(), nullptr, key) == 1);
  const bool holds =
      EVP_DigestVerify(context, signature.data(), signature.size(), data.data(), data.size()) == 1;
  EVP_MD_CTX_free(context);
  return holds;
}

bool verifiedByCertificate(const Data& der, DataView data, DataView signature) {
  const unsigned char* at = der.data();
  X509* const certificate = d2i_X509(nullptr, &at, static_cast<long>(der.size()));
  const bool holds = verifiedAsInTheManual(X509_get0_pubkey(certificate), data, signature);
  X509_free(certificate);
  return holds;
}

template <class Start, class Transform>
Data transformedAsInTheManual(Start start, Transform transform, const Data& input) {
  EVP_PKEY_CTX* const context = EVP_PKEY_CTX_new(signer().key, nullptr);
  std::size_t size = 0;
  check(start(context) == 1 && EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1 &&
        transform(context, nullptr, &size, input.data(), input.size()) == 1);
  Data output(size);
  check(transform(context, output.data(), &size, input.data(), input.size()) == 1);
  EVP_PKEY_CTX_free(context);
  output.resize(size);
  return output;
}

void addOperations() {
  const Data data(200, 0x5a);
  const Data signature = signedAsInTheManual(data);
  const Data ciphertext = transformedAsInTheManual(EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, data);
  const auto sign = [data] {
    return *signer().oursPrivate->sign_withPadding(data, VaspRSA::kSha256SignaturePadding);
  };
  const auto verify = [data, signature] {
    return signer().ours->check_withSign_withPadding(data, signature,
                                                     VaspRSA::kSha256SignaturePadding);
  };
  const auto decrypt = [ciphertext] { return *signer().oursPrivate->decryptWithData(ciphertext); };
  const auto fromCertificate = [data, signature] {
    return kelm::ZuSignChecker::initWithPublicKey(signer().base64)
        .isSign_validForData(signature, data);
  };
  check(sign() == signature && verify() && decrypt() == data && fromCertificate());
  addPair("rsa_sign", sign, [data] { return signedAsInTheManual(data); });
  addPair("rsa_verify", verify,
          [=] { return verifiedAsInTheManual(signer().key, data, signature); });
  addPair(
      "rsa_encrypt", [data] { return *signer().ours->encryptWithData(data); },
      [data] { return transformedAsInTheManual(EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, data); });
  addPair("rsa_decrypt", decrypt, [ciphertext] {
    return transformedAsInTheManual(EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, ciphertext);
  });
  addPair("certificate_to_verified_signature", fromCertificate,
          [=] { return verifiedByCertificate(signer().der, data, signature); });
}

// ---- a sealed configuration ----

const Data kKey(16, 0x3c);
const Data kIV(16, 0x5a);

std::string configuration() {
  std::string json = "{";
  for (int i = 0; json.size() < kConfigurationBytes; ++i)
    json += (i > 0 ? ",\"shop" : "\"shop") + std::to_string(i) + R"(":{"name":"Corner shop no )" +
            std::to_string(i) + R"(","limits":[)" + std::to_string(i) +
            R"(,12.5,true],"endpoint":"https://pay.example/shops"})";
  return json + "}";
}

/// Writes the file, which lies in the folder for temporaries until the next run.
std::string makeSealedFile() {
  const kelm::Value tree = *kelm::parseJson(configuration());
  const auto signature = signer().oursPrivate->sign_withPadding(
      kelm::bytesOf(kelm::canonicalText(tree)), VaspRSA::kSha256SignaturePadding);
  const std::string inner = *kelm::writeJson(kelm::Dictionary{
      {"configuration", tree}, {"signature", VaspBase64::base64OfData(signature)}});
  const auto ciphertext =
      kelm::VaspAES::aesEncryptData_WithBytesKey_withBytesIV(kelm::bytesOf(inner), kKey, kIV);
  std::string path = std::filesystem::temp_directory_path() / "kelm_bench_sealed.json";
  std::ofstream(path, std::ios::binary)
      << *kelm::writeJson(kelm::Dictionary{{"data", VaspBase64::base64OfData(ciphertext)}});
  return path;
}

Data decoded(const std::string& base64) {
  Data bytes(base64.size() / 4 * 3);
  int size = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(base64.data()),
                             static_cast<int>(base64.size()));
  check(size > 0);
  for (auto at = base64.rbegin(); *at == '='; ++at)
    --size;
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

Data decrypted(const Data& ciphertext) {
  EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
  Data plain(ciphertext.size() + 16);
  int first = 0;
  int last = 0;
  check(EVP_DecryptInit_ex(context, EVP_aes_128_cbc(), nullptr, kKey.data(), kIV.data()) == 1 &&
        EVP_DecryptUpdate(context, plain.data(), &first, ciphertext.data(),
                          static_cast<int>(ciphertext.size())) == 1 &&
        EVP_DecryptFinal_ex(context, plain.data() + first, &last) == 1);
  EVP_CIPHER_CTX_free(context);
  plain.resize(static_cast<std::size_t>(first) + static_cast<std::size_t>(last));
  return plain;
}

void appendValues(const nlohmann::json& value, std::string& text) {  // its keys are sorted
  if (value.is_structured()) {
    for (const auto& part : value)
      appendValues(part, text);
    return;
  }
  if (!text.empty()) text += ';';
  text += value.is_string() ? value.get<std::string>() : value.dump();
}

/// The bare steps: read, parse, decode, hash, decrypt, parse, join, verify.
bool openedInBareSteps(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::string file(std::filesystem::file_size(path), '\0');
  check(!stream.read(file.data(), static_cast<std::streamsize>(file.size())).fail());
  const Data ciphertext = decoded(nlohmann::json::parse(file)["data"].get<std::string>());
  Data hash(32);
  check(EVP_Digest(ciphertext.data(), ciphertext.size(), hash.data(), nullptr, EVP_sha256(),
                   nullptr) == 1);
  const Data plain = decrypted(ciphertext);
  const auto envelope = nlohmann::json::parse(plain.begin(), plain.end());
  std::string text;
  appendValues(envelope["configuration"], text);
  return verifiedByCertificate(decoded(signer().base64), kelm::bytesOf(text),
                               decoded(envelope["signature"].get<std::string>()));
}

void addConfiguration() {
  const std::string path = makeSealedFile();
  const auto reader =
      kelm::VaspCryptedConfigFilePayloadReader::initWithConfigurationErrorDomain("bench");
  const std::string key = VaspBase64::base64OfData(kKey);
  const std::string iv = VaspBase64::base64OfData(kIV);
  const auto open = [=] {
    return reader
        .configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
            path, signer().base64, iv, key, nullptr)
        .has_value();
  };
  check(open() && openedInBareSteps(path));
  addPair("open_sealed_configuration_100KB", open, [path] { return openedInBareSteps(path); });
}

void addSignedString() {
  const Data ck1(32, 0x11);
  const Data ck2(32, 0x2e);
  const Data salt = *kelm::VaspCryptoUtils::xorData_withData(ck1, ck2);
  const Data signature = signedAsInTheManual(salt);
  const std::string text = "https://pay.example/";
  const Data derived = *kelm::VaspPBKDF2::pbkdf2OfPassword_withSalt_expectingSize_performingRound(
      text, salt, 32, 1024);
  const std::string checksum = VaspBase64::base64OfData(derived);
  kelm::VaspSignedString::setCers(signer().base64);
  kelm::VaspSignedString::setCK1(ck1);
  kelm::VaspSignedString::setCK2(ck2);
  kelm::VaspSignedString::setCKS(signature);
  addPair(
      "make_signed_string",
      [=] { return kelm::VaspSignedString::initWithString_checksum(text, checksum).text().size(); },
      [=] {
        Data key(32);
        check(verifiedAsInTheManual(signer().key, salt, signature) &&
              PKCS5_PBKDF2_HMAC(text.data(), static_cast<int>(text.size()), salt.data(),
                                static_cast<int>(salt.size()), 1024, EVP_sha256(), 32,
                                key.data()) == 1 &&
              key == derived);
        return text.size();
      });
}

const bool kAdded = [] {
  addOperations();
  addConfiguration();
  addSignedString();
  return true;
}();

}  // namespace
