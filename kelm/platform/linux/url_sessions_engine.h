#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <vector>

#include "kelm/platform/clock.h"
#include "kelm/platform/console.h"
#include "kelm/platform/linux/url_sessions_easy_handle.h"
#include "kelm/platform/linux/url_sessions_network_thread.h"
#include "kelm/platform/url_session.h"

namespace kelm::platform::url_sessions {

class Exchange;

/// What the exchanges of one session share: its connections and its idle handles. Lives, but for
/// what is constant, on the network thread; kept by the session, by its tasks and, while they
/// run, by its exchanges.
class SessionEngine final : public NetworkThread::Member {
 public:
  struct Services {
    std::shared_ptr<const Clock> clock;
    std::shared_ptr<Console> console;
  };

  static std::shared_ptr<SessionEngine> make(UrlSessionConfiguration configuration,
                                             std::shared_ptr<UrlSessionDelegate> delegate,
                                             Services services);
  ~SessionEngine() override;

  // From any thread.
  const UrlSessionConfiguration& configuration() const { return configuration_; }
  UrlSessionDelegate* delegate() const { return delegate_.get(); }
  Date now() const { return services_.clock->now(); }
  /// Why nothing can be sent with the session's own headers; absent when it can.
  const std::optional<Error>& headersProblem() const { return headersProblem_; }
  /// Runs the host's code; what it throws is reported on the console and dropped.
  template <class Code>
  void runGuarded(const Code& code) const;

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
  SessionEngine(UrlSessionConfiguration configuration, std::shared_ptr<UrlSessionDelegate> delegate,
                Services services);
  void open();
  void endFinished();
  void endOverdue(Moment now);
  void report(const std::exception& exception) const;
  static int onSocket(CURL*, curl_socket_t socket, int what, void* engine, void*);
  static int onTimer(CURLM*, long milliseconds, void* engine);

  const UrlSessionConfiguration configuration_;
  const std::optional<Error> headersProblem_;
  const std::shared_ptr<UrlSessionDelegate> delegate_;
  const Services services_;
  CURLM* multi_ = nullptr;
  std::vector<std::unique_ptr<EasyHandle>> idle_;
  std::vector<std::shared_ptr<Exchange>> running_;
  Moment curlTimer_ = Moment::max();
  Moment nextCheck_ = Moment::max();
  bool socketsMoved_ = false;
};

template <class Code>
void SessionEngine::runGuarded(const Code& code) const {
  try {
    code();
  } catch (const std::exception& exception) {
    report(exception);
  } catch (...) {
    report(std::runtime_error("unknown exception"));
  }
}

}  // namespace kelm::platform::url_sessions
