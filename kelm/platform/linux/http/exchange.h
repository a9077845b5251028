#pragma once

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <optional>

#include "kelm/base/url.h"
#include "kelm/platform/http/url_session.h"
#include "kelm/platform/linux/http/engine.h"
#include "kelm/platform/linux/http/response.h"
#include "kelm/platform/linux/http/trust.h"

namespace kelm::platform::url_sessions {

/// One exchange from its start to its completion, over as many transfers as redirects ask for.
/// The task's operations post to the network thread, where everything else happens.
class Exchange final : public DataTask,
                       public TrustJudge,
                       public std::enable_shared_from_this<Exchange> {
 public:
  Exchange(std::shared_ptr<SessionEngine> engine, UrlRequest request,
           UrlSession::Completion completion);

  std::uint64_t id() const override { return id_; }
  void resume() override;
  void cancel() override;

  // On the network thread, called by the engine.
  static EasyHandle::Callbacks callbacks();
  /// Its turn for a connection has come.
  void send();
  /// Scheme, host and port that it waits for or talks to.
  const std::string& origin() const { return origin_; }
  /// When it will have timed out if nothing moves until then.
  Moment deadline() const;
  /// Libcurl is done with the handle.
  void transferEnded(CURLcode outcome);
  /// Ends it with an error, unless it has ended.
  void end(std::int64_t code);
  std::size_t slot() const { return slot_; }
  void setSlot(std::size_t slot) { slot_ = slot; }

  UrlSessionDelegate::Disposition judge(const ServerTrust& trust) override;
  void learnOfRevocation() override;
  void learnOfCertificateRequest() override { certificateAsked_ = true; }
  void learnOfAlert(int description) override { alert_ = description; }

 private:
  void begin();
  /// Begins a transfer, at once or when a connection may be used for it.
  void startTransfer();
  void stopTransfer();
  void repeat();
  /// Has the host's name looked up, then sends.
  void resolveName();
  void nameResolved(const std::vector<std::string>& addresses);
  bool mayResolve();
  bool hasOwnWay() const;
  void storeCookies() const;
  std::string_view reachedLimit() const;
  std::int64_t errorCodeOf(CURLcode outcome) const;
  bool mayBeRepeated(CURLcode outcome) const;
  /// The error of an outcome; absent for success.
  std::optional<Error> errorOf(CURLcode outcome) const;
  /// True when the answer is a redirect that is followed now; an error when it must not be.
  bool follow(std::optional<Error>& error);
  void complete(std::optional<Error> error);
  std::shared_ptr<const UrlResponse> response() const;
  void reportSent(std::int64_t sent);
  void reportReceived(bool last);

  void received(DataView bytes);
  bool mayBeSent();
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* exchange);
  static std::size_t onHeader(char* bytes, std::size_t size, std::size_t count, void* exchange);
  static int onProgress(void* exchange, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent);
  static int onBeforeSending(void* exchange, char*, char*, int, int);
  static int onNameNeeded(void* resolver, void*, void* exchange);
  static CURLcode onSecureContext(CURL*, void* context, void* exchange);

  const std::uint64_t id_;
  std::atomic<bool> resumed_{false};

  // On the network thread from here on.
  std::shared_ptr<SessionEngine> engine_;  // until it has ended
  UrlRequest request_;                     // as redirects have changed it
  std::string origin_;                     // of that
  std::optional<Url> url_;                 // of that
  std::string addresses_;  // of its host, as libcurl takes them; empty until they are needed
  std::optional<Moment> nameDeadline_;  // while the name is looked up
  bool needsName_ = false;              // the transfer ended for want of the addresses
  UrlSession::Completion completion_;
  std::unique_ptr<EasyHandle> handle_;  // while a transfer runs
  ResponseHead head_;
  Data body_;
  std::int64_t expected_ = -1;
  std::int64_t sent_ = 0;
  std::size_t reported_ = 0;
  int redirects_ = 0;
  bool wasSent_ = false;  // this transfer's request has gone out before
  bool badHead_ = false;
  bool bodyTooLong_ = false;
  bool repeated_ = false;          // the request was sent again on a new connection
  bool certificateAsked_ = false;  // of this client, which has none
  int alert_ = 0;                  // that the server ended the connection with
  bool trustCancelled_ = false;
  std::string trustRefusal_;  // why the server of the last new connection is not trusted
  bool isKept_ = false;       // by the engine
  std::size_t slot_ = 0;
  std::optional<Moment> wholeDeadline_;
  std::optional<Moment> lastMoved_;  // absent while it waits for a connection
};

}  // namespace kelm::platform::url_sessions
