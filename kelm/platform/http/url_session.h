#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/date.h"
#include "kelm/base/error.h"
#include "kelm/base/url.h"
#include "kelm/base/value.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Codes of the error domain "url".
namespace url_error {
inline constexpr std::int64_t kUnknown = -1;
inline constexpr std::int64_t kCancelled = -999;
inline constexpr std::int64_t kBadUrl = -1000;
inline constexpr std::int64_t kTimedOut = -1001;
inline constexpr std::int64_t kUnsupportedUrl = -1002;
inline constexpr std::int64_t kCannotFindHost = -1003;
inline constexpr std::int64_t kCannotConnectToHost = -1004;
inline constexpr std::int64_t kConnectionLost = -1005;
inline constexpr std::int64_t kTooManyRedirects = -1007;
inline constexpr std::int64_t kDataLengthExceedsMaximum = -1103;
inline constexpr std::int64_t kBadServerResponse = -1011;
inline constexpr std::int64_t kSecureConnectionFailed = -1200;
inline constexpr std::int64_t kServerCertificateUntrusted = -1202;
inline constexpr std::int64_t kClientCertificateRequired = -1206;
inline constexpr std::int64_t kProxyFailed = -1300;
}  // namespace url_error

/// A request as it goes to a session. Header names compare without case when it is sent.
struct KELM_API UrlRequest {
  std::optional<std::string> url;  ///< absent when it could not be formed
  std::string method = "GET";
  Dictionary headers;  ///< name to text
  std::optional<Data> body;
  double timeoutSeconds = 0;  ///< for the whole exchange; 0: the session's
  /// Names of headers that are secret, such as "X-Api-Key". Like "Authorization" and "Cookie", they
  /// are not sent on to another origin.
  std::vector<std::string> sensitiveHeaders;

  /// The first header of that name, compared without case, whose value is a text.
  std::optional<std::string_view> header(std::string_view name) const;
  /// True if `sensitiveHeaders` has the name, compared without case.
  bool isSensitive(std::string_view name) const;
};

/// Why a request cannot be sent, absent when it can: its URL is absent, malformed or of another
/// scheme than http and https; its method is no token in upper case; the name of a header is no
/// token or its value holds a control character (RFC 9110, section 5).
KELM_API std::optional<Error> requestProblem(const UrlRequest& request);

/// An error of the domain "url" with a sentence for its code, and the URL, if one is given, under
/// "NSErrorFailingURLStringKey", with "***" in place of a password.
KELM_API Error urlError(std::int64_t code, std::string_view url = {});

/// Returns the request as a line for a shell, for reports of faults. The values of "Authorization",
/// "Cookie", "Proxy-Authorization" and the sensitive headers, and a password in the URL, are "***".
KELM_API std::string curlCommand(const UrlRequest& request);

/// How long the phases of the last transfer took, in seconds from its start; 0 for one that was not
/// needed, such as connecting on a kept connection.
struct UrlMeasures {
  double nameKnown = 0;
  double connected = 0;
  double secured = 0;  ///< TLS
  double firstByte = 0;
  double whole = 0;
  bool reusedConnection = false;
  std::string protocol;  ///< "HTTP/1.0", "HTTP/1.1", "HTTP/2"
  std::int64_t bytesSent = 0;
  std::int64_t bytesReceived = 0;  ///< of the body, as they travelled
};

struct UrlResponse {
  std::string url;  ///< the last one, after redirects
  int statusCode = 0;
  Dictionary headers;  ///< equal names joined by ", "
  std::int64_t expectedLength = -1;
  UrlMeasures measures;
};

struct Cookie {
  std::string name;
  std::string value;
  std::string domain;  ///< of one host; with a leading "." that host and all below it
  std::string path = "/";
  std::optional<Date> expires;
  bool secure = false;
  bool httpOnly = false;
  /// Kept and described. It has no effect on what is sent: there are no sites here.
  enum class SameSite { Unset, None, Lax, Strict } sameSite = SameSite::Unset;

  bool operator==(const Cookie&) const = default;
};
/// "name=value; domain=...; path=..." with its other attributes.
KELM_API std::string describe(const Cookie& cookie);

/// The cookies of "Set-Cookie" among header fields (RFC 6265), joined ones too; `url` gives the
/// default domain and path and may be empty. A cookie that a server of `url` may not set is left
/// out; one that has expired is not.
KELM_API std::vector<Cookie> cookiesFromHeaders(const Dictionary& headers, std::string_view url);

/// Thread-safe.
class KELM_API CookieStorage {
 public:
  virtual ~CookieStorage() = default;
  /// What would be sent to `url`, longer paths first, then older ones.
  virtual std::vector<Cookie> cookiesFor(std::string_view url) const = 0;
  /// Replaces the cookie of the same name, domain and path; removes it when the new one has
  /// expired.
  virtual void set(const Cookie& cookie) = 0;
  /// Sets what a server of `url` sent, unless that came over plain http and would replace a Secure
  /// cookie or stand beside it.
  virtual void setReceived(const Cookie& cookie, const Url& url);
  virtual void removeAll() = 0;
};

/// What a server showed to prove who it is.
struct ServerTrust {
  std::string host;
  std::vector<Data> chain;       ///< DER, leaf first; up to the root if the chain verifies
  bool trustedBySystem = false;  ///< the chain, its dates and the host name
  std::string
      refusal;  ///< why the system does not trust it, such as "hostname mismatch"; else empty
};

/// How a session calls back while a task runs, on a network thread. The answer of the challenge
/// decides before anything is sent.
class KELM_API UrlSessionDelegate {
 public:
  /// Obey the system's verdict; accept the server, whatever the verdict; end with `kCancelled`.
  enum class Disposition { PerformDefaultHandling, UseCredential, Cancel };

  virtual ~UrlSessionDelegate() = default;
  /// Decides about the server of one new connection, once, also if the system trusts it. A
  /// delegate that throws has cancelled.
  virtual Disposition didReceiveChallenge(const ServerTrust&) {
    return Disposition::PerformDefaultHandling;
  }
  virtual void didSendBodyData(std::uint64_t /*taskId*/, std::int64_t /*sent*/,
                               std::int64_t /*expected*/) {}
  virtual void didReceiveData(std::uint64_t /*taskId*/, std::int64_t /*received*/,
                              std::int64_t /*expected: -1 unknown*/) {}
};

struct UrlSessionConfiguration {
  Dictionary additionalHeaders;               ///< sent unless the request sets the same name
  std::vector<std::string> sensitiveHeaders;  ///< as in a request, for all of the session
  std::shared_ptr<CookieStorage> cookies;     ///< none: no cookies are kept or sent
  double connectTimeoutSeconds = 30;
  double requestTimeoutSeconds = 60;  ///< without any byte moving
  double resourceTimeoutSeconds = 0;  ///< for the whole exchange; 0: none
  /// Fewer bytes a second over `requestTimeoutSeconds` end the exchange, too; 0: any speed will do.
  std::int64_t minBytesPerSecond = 0;
  bool followRedirects = true;  ///< never from https to http
  int maxRedirects = 16;
  /// Offers every compression that libcurl has, and unpacks what comes; `maxBodyBytes` then limits
  /// the unpacked body.
  bool acceptsCompressed = false;
  /// "http://" or "socks5h://", perhaps with name and password, host and port; a proxy that is itself
  /// spoken to over TLS is refused. Empty: no proxy. Absent: what the variables http_proxy,
  /// https_proxy, all_proxy and no_proxy say.
  std::optional<std::string> proxy;
  std::vector<std::string>
      noProxyFor;  ///< hosts, with all below them, for which `proxy` is not used
  /// "host:port" to an address, such as "pay.example:443" to "10.0.0.7"; not looked up elsewhere.
  std::map<std::string, std::string> addresses;
  enum class IpVersion { Any, V4, V6 } ipVersion = IpVersion::Any;
  std::string unixSocket;                     ///< a path: connect there, whatever the URL's host is
  std::optional<std::string> trustRootsFile;  ///< PEM; absent: the system's, if any
  int maxConnectionsPerHost = 6;              ///< 0: any number; what waits for one keeps its order
  int maxConnections = 0;                     ///< of the session in all; 0: any number
  /// The longest body, in bytes; a longer one ends with `kDataLengthExceedsMaximum`. 0: any length.
  std::int64_t maxBodyBytes = 0;
};

/// One exchange. Thread-safe.
class KELM_API DataTask {
 public:
  virtual ~DataTask() = default;
  virtual std::uint64_t id() const = 0;
  /// Starts; later calls do nothing.
  virtual void resume() = 0;
  /// Ends the exchange with the error `kCancelled`, unless it has ended. A task that was never
  /// resumed completes with it too.
  virtual void cancel() = 0;
};

/// Thread-safe. Tasks that run keep what they need of the session.
class KELM_API UrlSession {
 public:
  /// Called exactly once, on a network thread: a response with its body (an HTTP status of any
  /// value), or an error and whatever response had come.
  using Completion = std::function<void(Data body, std::shared_ptr<const UrlResponse> response,
                                        std::optional<Error> error)>;

  virtual ~UrlSession() = default;
  virtual std::shared_ptr<DataTask> makeDataTask(const UrlRequest& request,
                                                 Completion completion) = 0;
  virtual const UrlSessionConfiguration& configuration() const = 0;
};

/// Thread-safe.
class KELM_API UrlSessions {
 public:
  virtual ~UrlSessions() = default;
  /// Holds the one in use; `current<UrlSessions>()` returns it.
  static Slot<UrlSessions>& slot();
  /// Makes the system's own.
  static std::shared_ptr<UrlSessions> makeSystem();
  virtual std::shared_ptr<UrlSession> make(UrlSessionConfiguration configuration,
                                           std::shared_ptr<UrlSessionDelegate> delegate = {}) = 0;
  virtual std::shared_ptr<CookieStorage> makeCookieStorage() = 0;
};

}  // namespace kelm::platform
