#include "kelm/crypto/pkcs12.h"

#include <openssl/asn1.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kelm/base/wipe.h"
#include "kelm/crypto/crypto_key.h"

namespace kelm {

namespace {

/// The limit for all derivations of a bundle together: a few seconds of work.
constexpr std::int64_t kMostRounds = 10'000'000;

struct FreeBundle {
  void operator()(PKCS12* bundle) const { PKCS12_free(bundle); }
};
using Bundle = std::unique_ptr<PKCS12, FreeBundle>;

/// Knows the ciphers of old bundles (RC2, DES), which nothing else in the process shall get. Kept
/// for ever. Without the module "legacy" old bundles stay closed.
OSSL_LIB_CTX* libraryContext() {
  static OSSL_LIB_CTX* const kContext = [] {
    OSSL_LIB_CTX* const context = OSSL_LIB_CTX_new();
    if (context != nullptr) {
      (void)OSSL_PROVIDER_load(context, "default");
      (void)OSSL_PROVIDER_load(context, "legacy");
      ERR_clear_error();  // what a missing module leaves would confuse the host's own TLS calls
    }
    return context;
  }();
  return kContext;
}

Bundle parsed(DataView bytes) {
  if (bytes.empty() || bytes.size() > std::size_t{std::numeric_limits<int>::max()}) return nullptr;
  Bundle bundle(PKCS12_init_ex(NID_pkcs7_data, libraryContext(), nullptr));
  if (!bundle) return nullptr;
  const unsigned char* at = bytes.data();
  PKCS12* target = bundle.release();  // freed by the parser when it fails
  bundle.reset(d2i_PKCS12(&target, &at, static_cast<long>(bytes.size())));
  if (at != bytes.data() + bytes.size()) bundle.reset();
  return bundle;
}

struct FreeSafes {
  void operator()(STACK_OF(PKCS7) * safes) const { sk_PKCS7_pop_free(safes, PKCS7_free); }
};
struct FreeBags {
  void operator()(STACK_OF(PKCS12_SAFEBAG) * bags) const {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
  }
};
using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), FreeBags>;
struct FreeKeyInfo {
  void operator()(PKCS8_PRIV_KEY_INFO* info) const { PKCS8_PRIV_KEY_INFO_free(info); }
};
struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};

/// Absent for a count that is no positive number; 1 for a missing one.
std::optional<std::int64_t> countOf(const ASN1_INTEGER* rounds) {
  std::int64_t count = 1;
  if (rounds != nullptr && ASN1_INTEGER_get_int64(&count, rounds) != 1) return std::nullopt;
  return count >= 1 ? std::optional(count) : std::nullopt;
}

/// The rounds that a cipher's key is derived in: PKCS#12's own schemes and PBES2 (RFC 8018).
std::optional<std::int64_t> roundsOf(const X509_ALGOR* cipher) {
  const ASN1_OBJECT* scheme = nullptr;
  int type = 0;
  const void* value = nullptr;
  X509_ALGOR_get0(&scheme, &type, &value, cipher);
  if (type != V_ASN1_SEQUENCE) return std::nullopt;
  const auto* const sequence = static_cast<const ASN1_STRING*>(value);
  std::optional<std::int64_t> rounds;
  if (OBJ_obj2nid(scheme) != NID_pbes2) {
    auto* const parameters = static_cast<PBEPARAM*>(ASN1_item_unpack(sequence, PBEPARAM_it()));
    if (parameters != nullptr) rounds = countOf(parameters->iter);
    PBEPARAM_free(parameters);
    return rounds;
  }
  auto* const parameters = static_cast<PBE2PARAM*>(ASN1_item_unpack(sequence, PBE2PARAM_it()));
  if (parameters == nullptr) return std::nullopt;
  X509_ALGOR_get0(&scheme, &type, &value, parameters->keyfunc);
  if (OBJ_obj2nid(scheme) == NID_id_pbkdf2 && type == V_ASN1_SEQUENCE) {
    auto* const derivation = static_cast<PBKDF2PARAM*>(
        ASN1_item_unpack(static_cast<const ASN1_STRING*>(value), PBKDF2PARAM_it()));
    if (derivation != nullptr) rounds = countOf(derivation->iter);
    PBKDF2PARAM_free(derivation);
  }
  PBE2PARAM_free(parameters);
  return rounds;
}

/// Looks for the first key of a bundle and for its certificate.
class IdentitySearch {
 public:
  IdentitySearch(const PKCS12* bundle, const std::string& password)
      : bundle_(bundle), password_(&password) {}

  KeyReference run() {
    if (!checkMac()) return nullptr;
    const std::unique_ptr<STACK_OF(PKCS7), FreeSafes> safes(PKCS12_unpack_authsafes(bundle_));
    for (int at = 0; at < (safes ? sk_PKCS7_num(safes.get()) : 0); ++at)
      if (!look(sk_PKCS7_value(safes.get(), at))) return nullptr;
    const auto belongs = [&](const KeyReference& half) { return isPublicHalfOf(*half, *key_); };
    return key_ && std::any_of(certified_.begin(), certified_.end(), belongs) ? key_ : nullptr;
  }

 private:
  static constexpr int kMostLevels = 16;

  /// Takes the rounds of one derivation from those that are left.
  bool spend(std::optional<std::int64_t> rounds) {
    if (!rounds || *rounds > roundsLeft_) return false;
    roundsLeft_ -= *rounds;
    return true;
  }

  /// An empty password is written in two ways: as no bytes, or as the end alone.
  bool checkMac() {
    const ASN1_INTEGER* rounds = nullptr;
    const ASN1_OCTET_STRING* mac = nullptr;
    PKCS12_get0_mac(&mac, nullptr, nullptr, &rounds, bundle_);
    if (mac == nullptr || !spend(countOf(rounds))) return false;
    auto* const bundle = const_cast<PKCS12*>(bundle_);
    if (password_->empty() && PKCS12_verify_mac(bundle, nullptr, 0) == 1) return true;
    text_ = password_->c_str();
    return PKCS12_verify_mac(bundle, text_, static_cast<int>(password_->size())) == 1;
  }

  bool look(PKCS7* safe) {
    const int size = static_cast<int>(password_->size());
    if (PKCS7_type_is_data(safe)) return look(Bags(PKCS12_unpack_p7data(safe)).get(), kMostLevels);
    if (!PKCS7_type_is_encrypted(safe)) return true;
    return spend(roundsOf(safe->d.encrypted->enc_data->algorithm)) &&
           look(Bags(PKCS12_unpack_p7encdata(safe, text_, size)).get(), kMostLevels);
  }

  bool look(const STACK_OF(PKCS12_SAFEBAG) * bags, int levels) {
    if (bags == nullptr || levels == 0) return false;
    for (int at = 0; at < sk_PKCS12_SAFEBAG_num(bags); ++at)
      if (!look(sk_PKCS12_SAFEBAG_value(bags, at), levels)) return false;
    return true;
  }

  bool look(PKCS12_SAFEBAG* bag, int levels) {
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
      case NID_keyBag:
        return hasKey_ || takeKey(PKCS12_SAFEBAG_get0_p8inf(bag));
      case NID_pkcs8ShroudedKeyBag:
        return hasKey_ || openKey(bag);
      case NID_certBag:
        takeCertificate(bag);
        return true;
      case NID_safeContentsBag:
        return look(PKCS12_SAFEBAG_get0_safes(bag), levels - 1);
      default:
        return true;
    }
  }

  bool openKey(PKCS12_SAFEBAG* bag) {
    const X509_ALGOR* cipher = nullptr;
    X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &cipher, nullptr);
    if (!spend(roundsOf(cipher))) return false;
    const std::unique_ptr<PKCS8_PRIV_KEY_INFO, FreeKeyInfo> info(PKCS12_decrypt_skey_ex(
        bag, text_, static_cast<int>(password_->size()), libraryContext(), nullptr));
    return info && takeKey(info.get());
  }

  /// PKCS#8 (RFC 5208) around PKCS#1, of which the decoder keeps one copy, and wipes it.
  bool takeKey(const PKCS8_PRIV_KEY_INFO* info) {
    const ASN1_OBJECT* algorithm = nullptr;
    const unsigned char* bytes = nullptr;
    int size = 0;
    hasKey_ = true;
    if (PKCS8_pkey_get0(&algorithm, &bytes, &size, nullptr, info) == 1 &&
        OBJ_obj2nid(algorithm) == NID_rsaEncryption)
      key_ = rsaKeyOfPkcs1({bytes, static_cast<std::size_t>(size)}, KeyPart::Private);
    return key_ != nullptr;
  }

  void takeCertificate(const PKCS12_SAFEBAG* bag) {
    if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate) return;
    const std::unique_ptr<X509, FreeCertificate> certificate(PKCS12_SAFEBAG_get1_cert(bag));
    if (!certificate) return;
    const unsigned char* bytes = nullptr;
    int size = 0;
    X509_PUBKEY_get0_param(nullptr, &bytes, &size, nullptr,
                           X509_get_X509_PUBKEY(certificate.get()));
    if (KeyReference half = rsaKeyOfPkcs1({bytes, static_cast<std::size_t>(size)}, KeyPart::Public))
      certified_.push_back(std::move(half));
  }

  const PKCS12* bundle_;
  const std::string* password_;
  const char* text_ = nullptr;  ///< the form of the password that the MAC has shown
  std::int64_t roundsLeft_ = kMostRounds;
  bool hasKey_ = false;
  KeyReference key_;
  std::vector<KeyReference> certified_;
};

}  // namespace

KeyReference rsaPrivateKeyOfPkcs12(DataView bytes, std::string_view password) {
  if (password.find('\0') != std::string_view::npos) return nullptr;  // OpenSSL would cut it there
  const Bundle bundle = parsed(bytes);
  std::string ended(password);
  KeyReference key = bundle ? IdentitySearch(bundle.get(), ended).run() : nullptr;
  wipe(ended);
  ERR_clear_error();
  return key;
}

}  // namespace kelm
