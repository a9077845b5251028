#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

#include "kelm/platform/http/url_session.h"

namespace kelm::platform::url_sessions {

/// Who decides about the certificate chain of one new connection.
class TrustJudge {
 public:
  virtual ~TrustJudge() = default;
  virtual UrlSessionDelegate::Disposition judge(const ServerTrust& trust) = 0;
  /// The status that the server stapled says that its certificate was revoked.
  virtual void learnOfRevocation() = 0;
  /// The server asks for a certificate of the client. None is shown: there is none.
  virtual void learnOfCertificateRequest() = 0;
  /// The server ended the connection with a fatal alert (RFC 8446, section 6).
  virtual void learnOfAlert(int description) = 0;
};

constexpr int kCertificateRequiredAlert = 116;

/// Has `judge` decide, before anything is sent, about the chain shown to the connection that
/// `secureContext` (an SSL_CTX) is for. The system's verdict covers the chain, the dates and the
/// name; libcurl's own check of the name must be off. A connection whose judge is gone is refused,
/// and so is one to a server that staples its own revocation, unless the judge accepted it.
/// `host`: the server's name or address, without brackets.
CURLcode installTrustJudge(void* secureContext, std::weak_ptr<TrustJudge> judge, std::string host);

}  // namespace kelm::platform::url_sessions
