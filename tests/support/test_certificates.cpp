#include "tests/support/test_certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

namespace kelm::test {

namespace {

template <auto Free>
struct Freed {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;

void addExtension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  if (extension == nullptr) throw std::runtime_error("extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

struct Issuer {
  X509* certificate;  // null: signs itself
  EVP_PKEY* key;
};

Certificate issue(const char* name, long serial, EVP_PKEY* key, Issuer issuer, bool authority) {
  Certificate certificate(X509_new());
  X509* const x = certificate.get();
  X509_set_version(x, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x), serial);
  X509_gmtime_adj(X509_getm_notBefore(x), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x), 24L * 3600);
  X509_set_pubkey(x, key);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
  X509_set_issuer_name(x, X509_get_subject_name(issuer.certificate ? issuer.certificate : x));
  addExtension(x, NID_basic_constraints, authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  if (!authority) addExtension(x, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
  if (X509_sign(x, issuer.key, EVP_sha256()) == 0) throw std::runtime_error("signature");
  return certificate;
}

void write(const std::string& path, const std::vector<X509*>& certificates, EVP_PKEY* key) {
  const std::unique_ptr<FILE, Freed<std::fclose>> file(std::fopen(path.c_str(), "w"));
  if (!file) throw std::runtime_error(path);
  for (X509* const certificate : certificates)
    PEM_write_X509(file.get(), certificate);
  if (key != nullptr) PEM_write_PrivateKey(file.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
}

}  // namespace

TestCertificates::TestCertificates() {
  const Key rootKey(EVP_EC_gen("P-256")), middleKey(EVP_EC_gen("P-256")), key(EVP_EC_gen("P-256"));
  const auto root = issue("Test Root", 1, rootKey.get(), {nullptr, rootKey.get()}, true);
  const auto middle =
      issue("Test Intermediate", 2, middleKey.get(), {root.get(), rootKey.get()}, true);
  const auto leaf = issue("localhost", 3, key.get(), {middle.get(), middleKey.get()}, false);
  write(rootFile(), {root.get()}, nullptr);
  write(chainFile(), {leaf.get(), middle.get()}, nullptr);
  write(keyFile(), {}, key.get());
}

}  // namespace kelm::test
