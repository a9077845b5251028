#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <vector>

#include "kelm/platform/http/url_session.h"
#include "kelm/platform/linux/http/easy_handle.h"
#include "kelm/platform/linux/http/network_thread.h"

namespace kelm::platform::url_sessions {

class Exchange;

/// What the exchanges of one session share: its connections and its idle handles. Lives, but for
/// what is constant, on the network thread; kept by the session, by its tasks and, while they
/// run, by its exchanges.
class SessionEngine final : public NetworkThread::Member {
 public:
  static std::shared_ptr<SessionEngine> make(UrlSessionConfiguration configuration,
                                             std::shared_ptr<UrlSessionDelegate> delegate);
  ~SessionEngine() override;

  // From any thread.
  const UrlSessionConfiguration& configuration() const { return configuration_; }
  UrlSessionDelegate* delegate() const { return delegate_.get(); }
  /// Why nothing can be sent with the session's own headers; absent when it can.
  const std::optional<Error>& headersProblem() const { return headersProblem_; }

  // On the network thread.
  std::unique_ptr<EasyHandle> takeHandle();
  void giveBack(std::unique_ptr<EasyHandle> handle);
  /// Begins to drive a handle; false when libcurl refuses.
  bool start(CURL* handle);
  /// Stops driving it; a connection that it was using is closed.
  void stop(CURL* handle);
  /// Keeps an exchange and looks after its deadline until it is dropped.
  void keep(std::shared_ptr<Exchange> exchange);
  void drop(Exchange& exchange);
  void lookAgainAt(Moment deadline) { nextCheck_ = std::min(nextCheck_, deadline); }

  void socketReady(int socket, std::uint32_t events) override;
  void advance(Moment now) override;
  Moment due() const override;

 private:
  SessionEngine(UrlSessionConfiguration configuration,
                std::shared_ptr<UrlSessionDelegate> delegate);
  void open();
  void endFinished();
  void endOverdue(Moment now);
  static int onSocket(CURL*, curl_socket_t socket, int what, void* engine, void*);
  static int onTimer(CURLM*, long milliseconds, void* engine);

  const UrlSessionConfiguration configuration_;
  const std::optional<Error> headersProblem_;
  const std::shared_ptr<UrlSessionDelegate> delegate_;
  CURLM* multi_ = nullptr;
  std::vector<std::unique_ptr<EasyHandle>> idle_;
  std::vector<std::shared_ptr<Exchange>> running_;
  Moment curlTimer_ = Moment::max();
  Moment nextCheck_ = Moment::max();
  bool socketsMoved_ = false;
};

}  // namespace kelm::platform::url_sessions
