#include "kelm/platform/linux/http/trust.h"

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <utility>

namespace kelm::platform::url_sessions {

namespace {

struct Installed {
  std::weak_ptr<TrustJudge> judge;
  std::string host;
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

int verify(X509_STORE_CTX* context, void* argument) {
  const auto& installed = *static_cast<const Installed*>(argument);
  const bool trusted = X509_verify_cert(context) == 1;
  const int verdict = X509_STORE_CTX_get_error(context);
  using Disposition = UrlSessionDelegate::Disposition;
  const auto judge = installed.judge.lock();
  const Disposition disposition =
      judge ? judge->judge({installed.host, chainOf(context, trusted), trusted})
            : Disposition::Cancel;
  const bool accepted = disposition == Disposition::UseCredential ||
                        (disposition == Disposition::PerformDefaultHandling && trusted);
  const int refusal = trusted ? X509_V_ERR_APPLICATION_VERIFICATION : verdict;
  X509_STORE_CTX_set_error(context, accepted ? X509_V_OK : refusal);
  return accepted ? 1 : 0;
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
  SSL_CTX_set_cert_verify_callback(context, verify, installed);
  return CURLE_OK;
}

}  // namespace kelm::platform::url_sessions
