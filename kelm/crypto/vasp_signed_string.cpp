#include "kelm/crypto/vasp_signed_string.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/base/utf16.h"
#include "kelm/base/utf8.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/rsa_operations.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_pbkdf2.h"
#include "kelm/crypto/vasp_rsa.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm {

namespace {

constexpr std::size_t kLeastHalfBytes = 11;
constexpr std::size_t kLeastSignatureBytes = 11;
constexpr std::uint32_t kChecksumBytes = 32;
constexpr std::uint32_t kRounds = 1024;

struct KeyMaterial {
  std::optional<std::string> certificate;
  std::shared_ptr<const VaspRSA> signer;  // the certificate's, once it was read
  std::optional<Data> ck1;
  std::optional<Data> ck2;
  std::optional<Data> cks;
};

/// The settings of the process.
class Settings {
 public:
  static Settings& shared() {
    static Settings* const kSettings = new Settings;
    return *kSettings;
  }
  void change(const std::function<void(KeyMaterial&)>& apply) {
    const Lock lock(mutex_);
    apply(material_);
  }
  KeyMaterial material() const {
    const Lock lock(mutex_);
    return material_;
  }
  /// Keeps what a certificate was read as, unless another one was set since.
  void keep(const KeyMaterial& read) {
    const Lock lock(mutex_);
    if (material_.certificate == read.certificate) material_.signer = read.signer;
  }

 private:
  mutable Mutex mutex_;
  KeyMaterial material_ KELM_GUARDED_BY(mutex_);
};

std::optional<Data> owned(std::optional<DataView> bytes) {
  return bytes ? std::optional(Data(bytes->begin(), bytes->end())) : std::nullopt;
}

/// Ends the making of a signed string unless the condition holds.
void require(bool condition, const char* message, const char* exitMessage) {
  if (condition) return;
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kFatal, log_aspect::kFrontend | log_aspect::kLife | log_aspect::kCrypto,
      "-[VaspSignedString initWithString:checksum:]", "%@", message);
  VaspLogger::logEventAndExit(exitMessage);
}

struct Salt {
  std::optional<Data> bytes;

  ~Salt() {
    if (bytes) wipe(*bytes);
  }
};

/// The certificate's key; empty, with the lines of its reading, for an unusable one.
std::shared_ptr<const VaspRSA> signerOf(KeyMaterial& material) {
  if (!material.signer) {
    material.signer =
        VaspRSA::initWithPublicKey(VaspBase64::dataOfBase64String(material.certificate));
    if (material.signer) Settings::shared().keep(material);
  }
  return material.signer;
}

void checkSettings(const KeyMaterial& material) {
  const auto& [certificate, signer, ck1, ck2, cks] = material;
  require(ck1 && ck2 && cks, "ck nil fail", "Antitampering check failed (1)");
  require(ck1->size() >= kLeastHalfBytes && ck2->size() >= kLeastHalfBytes &&
              cks->size() >= kLeastSignatureBytes,
          "ck <10 fail", "Antitampering check failed (2)");
  require(ck1->size() == ck2->size(), "ck1/2 len fail", "Antitampering check failed (3)");
}

void checkChecksum(std::string_view text, std::optional<std::string_view> checksum, DataView salt) {
  std::optional<Data> derived = VaspPBKDF2::pbkdf2OfPassword_withSalt_expectingSize_performingRound(
      text, salt, kChecksumBytes, kRounds);
  const std::optional<Data> expected = VaspBase64::dataOfBase64String(checksum);
  require(derived && expected && equalInConstantTime(*derived, *expected), "checksum fail",
          "Antitampering check failed (7)");
}

/// Of one well-formed sequence; U+FFFD for none.
std::uint32_t codePoint(std::string_view sequence) {
  if (sequence.empty()) return 0xFFFD;
  if (sequence.size() == 1) return static_cast<unsigned char>(sequence[0]);
  std::uint32_t point = static_cast<unsigned char>(sequence[0]) & (0x7FU >> sequence.size());
  for (const char follower : sequence.substr(1))
    point = point << 6 | (static_cast<unsigned char>(follower) & 0x3FU);
  return point;
}

}  // namespace

void VaspSignedString::setCers(std::optional<std::string_view> base64Certificate) {
  Settings::shared().change([base64Certificate](KeyMaterial& material) {
    material.certificate.reset();
    if (base64Certificate) material.certificate = std::string(*base64Certificate);
    material.signer.reset();
  });
}

void VaspSignedString::setCK1(std::optional<DataView> half) {
  Settings::shared().change([half](KeyMaterial& material) { material.ck1 = owned(half); });
}

void VaspSignedString::setCK2(std::optional<DataView> half) {
  Settings::shared().change([half](KeyMaterial& material) { material.ck2 = owned(half); });
}

void VaspSignedString::setCKS(std::optional<DataView> signature) {
  Settings::shared().change([=](KeyMaterial& material) { material.cks = owned(signature); });
}

VaspSignedString VaspSignedString::initWithString_checksum(
    std::optional<std::string_view> text, std::optional<std::string_view> checksum) {
  require(text.has_value(), "nil string fail", "Antitampering check failed (8)");
  KeyMaterial material = Settings::shared().material();
  checkSettings(material);
  const Salt salt{VaspCryptoUtils::xorData_withData(material.ck1, material.ck2)};
  const std::shared_ptr<const VaspRSA> signer = signerOf(material);
  require(salt.bytes && material.cks, "cannot check these data/sign pair",
          "Antitampering check failed (4)");
  require(!material.cks->empty(), "ERROR: empty signData, discharding load",
          "Antitampering check failed (5)");
  require(signer && rsaIsSignedWithEither(*signer->publicKey(), *salt.bytes, *material.cks),
          "Sign check KO!!", "Antitampering check failed (6)");
  checkChecksum(*text, checksum, *salt.bytes);
  return {*text, checksum.value_or(std::string_view())};
}

VaspSignedString VaspSignedString::copyWithZone() const {
  return initWithString_checksum(backingStore_, backingChk_);
}

std::size_t VaspSignedString::length() const { return utf16Length(backingStore_); }

char16_t VaspSignedString::characterAtIndex(std::size_t index) const {
  const std::string_view text = backingStore_;
  const std::size_t start = utf16ByteOffset(text, index);
  if (start == text.size()) return 0;
  const std::size_t size = sequenceLength(text, start);
  const std::uint32_t point = codePoint(text.substr(start, size));
  if (point < 0x10000) return static_cast<char16_t>(point);
  const bool isSecondOfPair = index > 0 && utf16ByteOffset(text, index - 1) == start;
  return static_cast<char16_t>(isSecondOfPair ? 0xDC00 + (point & 0x3FF) : 0xD7C0 + (point >> 10));
}

}  // namespace kelm
