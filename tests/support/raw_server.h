#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kelm::test {

/// A server on a free loopback port that does to each connection what a script says: for answers
/// that no proper server gives.
class RawServer {
 public:
  class Connection {
   public:
    explicit Connection(int socket) : socket_(socket) {}
    /// Head and body of the next request; empty once the client has closed.
    std::string readRequest();
    void send(std::string_view bytes) const;
    /// Waits until the client has closed, or the server is destroyed.
    void waitForClose();

   private:
    bool readMore();

    int socket_;
    std::string buffer_;
  };
  /// Called once a connection, on a thread of its own; the connection closes when it returns.
  using Script = std::function<void(Connection&)>;

  explicit RawServer(Script script);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  std::string url(std::string_view target = "/", std::string_view scheme = "http") const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace kelm::test
