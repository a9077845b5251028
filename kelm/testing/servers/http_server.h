#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/testing/servers/raw_server.h"

namespace kelm::testing {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct KELM_API HttpRequest {
  std::string method;
  std::string target;  ///< path and query as they were sent
  HttpHeaders headers;
  std::string body;

  /// The first header of that name, compared without case.
  std::optional<std::string> header(std::string_view name) const;
};

struct KELM_API HttpReply {
  int status = 200;
  std::string body;
  HttpHeaders headers;
  bool chunked = false;  ///< in pieces of 1000 bytes, without a length
};

/// A server on a free port of the loopback interface, until it is destroyed. The handler runs on
/// the server's threads, several at a time; requests are recorded before it is called.
class KELM_API HttpServer {
 public:
  using Handler = std::function<HttpReply(const HttpRequest&)>;

  /// Without a handler every request is answered with status 200 and the body "ok".
  explicit HttpServer(Handler handler = {});
  /// Speaks TLS.
  HttpServer(const TestCertificates& certificates, Handler handler = {});

  int port() const { return server_.port(); }
  /// `target`: such as "/path?query".
  std::string url(std::string_view target = "/") const;
  std::vector<HttpRequest> requests() const;

 private:
  RawServer::Script script();

  const Handler handler_;
  const bool isSecure_;
  mutable std::mutex mutex_;
  std::vector<HttpRequest> requests_;
  RawServer server_;  // last: its threads use the others
};

}  // namespace kelm::testing
