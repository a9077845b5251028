#include "bench/support/tiny_http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t kMebibyte = 1 << 20;

std::string response(std::string_view body) {
  return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

std::string mebibyteOfJson() {
  std::string json = "[";
  while (json.size() < kMebibyte - 100)
    json += "{\"id\":12345678,\"amount\":\"12.50\",\"currency\":\"EUR\"},\n";
  json.resize(kMebibyte - 1, ' ');
  return json + ']';
}

void sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

/// A connection's unread bytes.
struct Connection {
  int socket;
  std::string input;

  /// The bytes of a whole request at the start of `input`; 0 when some are missing.
  std::size_t wholeRequest() const {
    const std::size_t end = input.find("\r\n\r\n");
    if (end == std::string::npos) return 0;
    const std::size_t length = input.find("Content-Length: ");
    const std::size_t body =
        length < end ? std::strtoul(input.c_str() + length + 16, nullptr, 10) : 0;
    return input.size() >= end + 4 + body ? end + 4 + body : 0;
  }
};

bool serve(Connection& connection) {
  static const std::string kLong = response(mebibyteOfJson());
  static const std::string kBinary = response(std::string(kMebibyte, '\xff'));
  static const std::string kShort = response("{\"status\":\"approved\",\"code\":\"00\"}");
  std::array<char, 65536> buffer;
  const ssize_t count = recv(connection.socket, buffer.data(), buffer.size(), 0);
  if (count <= 0) return false;
  connection.input.append(buffer.data(), static_cast<std::size_t>(count));
  while (const std::size_t size = connection.wholeRequest()) {
    const std::string_view input = connection.input;
    sendAll(connection.socket, input.starts_with("GET /binary") ? kBinary
                               : input.starts_with("GET")       ? kLong
                                                                : kShort);
    connection.input.erase(0, size);
  }
  return true;
}

[[noreturn]] void serveForEver(int listener) {
  std::vector<Connection> connections;
  std::vector<pollfd> polled;
  for (;;) {
    polled.assign(1, {listener, POLLIN, 0});
    for (const Connection& connection : connections)
      polled.push_back({connection.socket, POLLIN, 0});
    if (poll(polled.data(), polled.size(), -1) < 0) _exit(1);
    for (std::size_t i = connections.size(); i > 0; --i) {
      if (polled[i].revents == 0 || serve(connections[i - 1])) continue;
      close(connections[i - 1].socket);
      connections.erase(connections.begin() + static_cast<std::ptrdiff_t>(i - 1));
    }
    if (polled[0].revents == 0) continue;
    const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (socket >= 0) connections.push_back({socket, {}});
  }
}

}  // namespace

TinyHttpServer::TinyHttpServer() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener, 16) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    throw std::runtime_error("no free port");
  port_ = ntohs(address.sin_port);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process for the server");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, "tiny-server");
    serveForEver(listener);
  }
  close(listener);
}

const TinyHttpServer& TinyHttpServer::instance() {
  static const TinyHttpServer kServer;
  return kServer;
}

std::string TinyHttpServer::url(const char* path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void pinToOneProcessor() {
  cpu_set_t allowed, one;
  CPU_ZERO(&one);
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
  for (int cpu = CPU_SETSIZE - 1; cpu >= 0; --cpu) {
    if (!CPU_ISSET(cpu, &allowed)) continue;
    CPU_SET(cpu, &one);
    break;
  }
  sched_setaffinity(0, sizeof one, &one);
}

}  // namespace bench
