#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kelm/platform/http/url_session.h"
#include "kelm/platform/linux/http/easy_handle.h"
#include "kelm/platform/linux/http/network_thread.h"

namespace kelm::platform::url_sessions {

class Exchange;

/// State shared by all exchanges of a session: connections, idle handles and who waits for one.
/// Used on the network thread only, but for what is constant. Lives as long as the session, a task
/// of it or an exchange that runs.
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
  /// Sends the exchange as soon as the limits of connections allow; those of one origin in the
  /// order in which they came. Libcurl's own limits are not used: it may forget who waits.
  void enqueue(Exchange& exchange);
  /// Ends its use of a connection, or its wait for one.
  void dequeue(Exchange& exchange);
  /// The origin speaks HTTP/2: its exchanges share a connection.
  void learnOfSharing(const std::string& origin) { sharing_.insert(origin); }
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
  bool hasRoomFor(const std::string& origin) const;
  void sendWaiting();
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
  std::vector<Exchange*> waiting_;   // for a connection, in order
  std::multiset<std::string> busy_;  // the origin of each exchange that has one
  std::set<std::string> sharing_;    // origins that speak HTTP/2
  Moment curlTimer_ = Moment::max();
  Moment nextCheck_ = Moment::max();
  bool socketsMoved_ = false;
  bool mayHaveRoom_ = false;
};

}  // namespace kelm::platform::url_sessions
