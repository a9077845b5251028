#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

struct ssl_ctx_st;
struct ssl_st;

#include "kelm/base/export.h"

namespace kelm::testing {

class TestCertificates;

/// A server on a free loopback port that does to each connection what a script says: for answers
/// that no proper server gives.
class KELM_API RawServer {
 public:
  class Connection {
   public:
    Connection(int socket, ssl_st* tls) : socket_(socket), tls_(tls) {}
    /// Head and body of the next request; empty once the client has closed.
    std::string readRequest();
    void send(std::string_view bytes) const;
    /// Makes the connection end with a reset instead of a close.
    void reset() const;
    /// Waits until the client has closed, or the server is destroyed.
    void waitForClose();

   private:
    bool readMore();

    int socket_;
    ssl_st* tls_;
    std::string buffer_;
  };
  /// Called once a connection, on a thread of its own; the connection closes when it returns.
  using Script = std::function<void(Connection&)>;

  /// Speaks TLS with certificates.
  explicit RawServer(Script script, const TestCertificates* certificates = nullptr);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  int port() const { return port_; }
  std::string url(std::string_view target = "/", std::string_view scheme = "http") const;

 private:
  void acceptAll();
  void serve(int accepted);

  const Script script_;
  const int listener_;
  ssl_ctx_st* tls_ = nullptr;
  int port_ = 0;
  std::mutex mutex_;
  bool stopping_ = false;
  std::vector<int> open_;
  std::vector<std::thread> threads_;  // touched by the acceptor, then by the destructor
  std::thread acceptor_;
};

}  // namespace kelm::testing
