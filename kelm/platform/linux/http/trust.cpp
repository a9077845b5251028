#include "kelm/platform/linux/http/trust.h"

#include <openssl/err.h>
#include <openssl/ocsp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <utility>

namespace kelm::platform::url_sessions {

namespace {

struct Installed {
  std::weak_ptr<TrustJudge> judge;
  std::string host;
  bool overruled = false;  ///< the judge accepted the server itself
};

void freeInstalled(void*, void* installed, CRYPTO_EX_DATA*, int, long, void*) {
  delete static_cast<Installed*>(installed);
}

int installedIndex() {
  static const int kIndex = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, freeInstalled);
  return kIndex;
}

Data derOf(X509* certificate) {
  const int size = i2d_X509(certificate, nullptr);
  if (size <= 0) return {};
  Data der(static_cast<std::size_t>(size));
  unsigned char* at = der.data();
  i2d_X509(certificate, &at);
  return der;
}

/// Up to the root when the chain verifies, else the leaf and what the server sent with it.
std::vector<Data> chainOf(X509_STORE_CTX* context, bool verified) {
  std::vector<Data> chain;
  X509* const leaf = X509_STORE_CTX_get0_cert(context);
  if (leaf != nullptr) chain.push_back(derOf(leaf));
  STACK_OF(X509)* const others =
      verified ? X509_STORE_CTX_get0_chain(context) : X509_STORE_CTX_get0_untrusted(context);
  for (int i = 0; i < sk_X509_num(others); ++i) {
    X509* const certificate = sk_X509_value(others, i);
    if (leaf == nullptr || X509_cmp(certificate, leaf) != 0) chain.push_back(derOf(certificate));
  }
  return chain;
}

/// True if the certificate names the host as an alternative name; a common name alone is none
/// (RFC 9525, section 2).
bool isNamed(X509* leaf, const std::string& host) {
  if (leaf == nullptr) return false;
  if (X509_check_ip_asc(leaf, host.c_str(), 0) == 1) return true;
  return X509_check_host(leaf, host.data(), host.size(), X509_CHECK_FLAG_NEVER_CHECK_SUBJECT,
                         nullptr) == 1;
}

int verify(X509_STORE_CTX* context, void* argument) {
  auto& installed = *static_cast<Installed*>(argument);
  const bool complete = X509_verify_cert(context) == 1;
  int verdict = complete ? X509_V_OK : X509_STORE_CTX_get_error(context);
  if (complete && !isNamed(X509_STORE_CTX_get0_cert(context), installed.host))
    verdict = X509_V_ERR_HOSTNAME_MISMATCH;
  ServerTrust trust{installed.host, chainOf(context, complete), verdict == X509_V_OK, {}};
  if (!trust.trustedBySystem) trust.refusal = X509_verify_cert_error_string(verdict);
  using Disposition = UrlSessionDelegate::Disposition;
  const auto judge = installed.judge.lock();
  const Disposition disposition = judge ? judge->judge(trust) : Disposition::Cancel;
  installed.overruled = disposition == Disposition::UseCredential;
  const bool accepted =
      installed.overruled ||
      (disposition == Disposition::PerformDefaultHandling && trust.trustedBySystem);
  const int refusal = trust.trustedBySystem ? X509_V_ERR_APPLICATION_VERIFICATION : verdict;
  X509_STORE_CTX_set_error(context, accepted ? X509_V_OK : refusal);
  return accepted ? 1 : 0;
}

using StapledStatus = std::unique_ptr<OCSP_BASICRESP, decltype(&OCSP_BASICRESP_free)>;

/// The stapled status if somebody who may speak for the issuer signed it; empty otherwise.
StapledStatus stapledStatus(SSL* connection, STACK_OF(X509) * chain) {
  const unsigned char* bytes = nullptr;
  const long size = SSL_get_tlsext_status_ocsp_resp(connection, &bytes);
  StapledStatus status(nullptr, &OCSP_BASICRESP_free);
  if (bytes == nullptr || size <= 0) return status;
  const std::unique_ptr<OCSP_RESPONSE, decltype(&OCSP_RESPONSE_free)> answer(
      d2i_OCSP_RESPONSE(nullptr, &bytes, size), &OCSP_RESPONSE_free);
  if (!answer || OCSP_response_status(answer.get()) != OCSP_RESPONSE_STATUS_SUCCESSFUL)
    return status;
  status.reset(OCSP_response_get1_basic(answer.get()));
  X509_STORE* const roots = SSL_CTX_get_cert_store(SSL_get_SSL_CTX(connection));
  if (status && OCSP_basic_verify(status.get(), chain, roots, 0) != 1) status.reset();
  return status;
}

bool isRevoked(SSL* connection) {
  STACK_OF(X509)* const chain = SSL_get0_verified_chain(connection);
  if (sk_X509_num(chain) < 2) return false;
  const StapledStatus status = stapledStatus(connection, chain);
  if (!status) return false;
  for (const EVP_MD* digest : {EVP_sha1(), EVP_sha256()}) {  // names of the certificate in use
    const std::unique_ptr<OCSP_CERTID, decltype(&OCSP_CERTID_free)> id(
        OCSP_cert_to_id(digest, sk_X509_value(chain, 0), sk_X509_value(chain, 1)),
        &OCSP_CERTID_free);
    int verdict = V_OCSP_CERTSTATUS_UNKNOWN;
    if (id && OCSP_resp_find_status(status.get(), id.get(), &verdict, nullptr, nullptr, nullptr,
                                    nullptr) == 1)
      return verdict == V_OCSP_CERTSTATUS_REVOKED;
  }
  return false;
}

int onStapledStatus(SSL* connection, void* argument) {
  const auto& installed = *static_cast<const Installed*>(argument);
  const bool refused = !installed.overruled && isRevoked(connection);
  ERR_clear_error();
  if (!refused) return 1;
  if (const auto judge = installed.judge.lock()) judge->learnOfRevocation();
  return 0;
}

std::shared_ptr<TrustJudge> judgeOf(const SSL* connection) {
  const void* const installed = SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), installedIndex());
  return static_cast<const Installed*>(installed)->judge.lock();
}

int onCertificateRequest(SSL* connection, X509**, EVP_PKEY**) {
  if (const auto judge = judgeOf(connection)) judge->learnOfCertificateRequest();
  return 0;
}

void onTlsEvent(const SSL* connection, int where, int value) {
  constexpr int kFatal = 2;
  if ((where & SSL_CB_READ_ALERT) != SSL_CB_READ_ALERT || value >> 8 != kFatal) return;
  if (const auto judge = judgeOf(connection)) judge->learnOfAlert(value & 0xFF);
}

}  // namespace

CURLcode installTrustJudge(void* secureContext, std::weak_ptr<TrustJudge> judge, std::string host) {
  auto* const context = static_cast<SSL_CTX*>(secureContext);
  auto* const installed = new Installed{std::move(judge), std::move(host)};
  if (SSL_CTX_set_ex_data(context, installedIndex(), installed) != 1) {
    delete installed;
    return CURLE_OUT_OF_MEMORY;
  }
  // Once decided, a connection shows no other certificate.
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
  SSL_CTX_set_info_callback(context, onTlsEvent);
  SSL_CTX_set_client_cert_cb(context, onCertificateRequest);
  SSL_CTX_set_cert_verify_callback(context, verify, installed);
  SSL_CTX_set_tlsext_status_type(context, TLSEXT_STATUSTYPE_ocsp);
  SSL_CTX_set_tlsext_status_cb(context, onStapledStatus);
  SSL_CTX_set_tlsext_status_arg(context, installed);
  return CURLE_OK;
}

}  // namespace kelm::platform::url_sessions
