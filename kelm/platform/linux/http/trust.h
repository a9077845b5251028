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
};

/// Has `judge` decide, before anything is sent, over the chain that the connection which
/// `secureContext` (an SSL_CTX) is for will be shown. The name is checked besides. `host`: the
/// server's. A connection whose judge is gone is refused.
CURLcode installTrustJudge(void* secureContext, std::weak_ptr<TrustJudge> judge, std::string host);

}  // namespace kelm::platform::url_sessions
