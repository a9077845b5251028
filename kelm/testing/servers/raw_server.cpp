#include "kelm/testing/servers/raw_server.h"

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "kelm/testing/servers/test_certificates.h"

namespace kelm::testing {

namespace {

/// Staples the status of the certificate if there is one.
int staple(SSL* connection, void* certificates) {
  std::ifstream file(static_cast<const TestCertificates*>(certificates)->stapleFile());
  const std::string status{std::istreambuf_iterator<char>(file), {}};
  if (status.empty()) return SSL_TLSEXT_ERR_NOACK;
  void* const copy = OPENSSL_memdup(status.data(), status.size());  // OpenSSL frees it
  SSL_set_tlsext_status_ocsp_resp(connection, copy, static_cast<long>(status.size()));
  return SSL_TLSEXT_ERR_OK;
}

}  // namespace

bool RawServer::Connection::readMore() {
  std::array<char, 65536> chunk;
  const ssize_t count = tls_ != nullptr ? SSL_read(tls_, chunk.data(), chunk.size())
                                        : recv(socket_, chunk.data(), chunk.size(), 0);
  if (count <= 0) return false;
  buffer_.append(chunk.data(), static_cast<std::size_t>(count));
  return true;
}

std::string RawServer::Connection::readRequest() {
  std::size_t end;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos)
    if (!readMore() || buffer_[0] < 'A') return {};  // what speaks TLS begins so
  std::size_t size = end + 4;
  const std::size_t length = buffer_.find("Content-Length: ");
  if (length < end) size += std::strtoul(buffer_.c_str() + length + 16, nullptr, 10);
  while (buffer_.size() < size)
    if (!readMore()) return {};
  std::string request = buffer_.substr(0, size);
  buffer_.erase(0, size);
  return request;
}

void RawServer::Connection::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = tls_ != nullptr
                              ? SSL_write(tls_, bytes.data(), static_cast<int>(bytes.size()))
                              : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void RawServer::Connection::reset() const {
  const linger atOnce{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

void RawServer::Connection::waitForClose() {
  while (readMore())
    buffer_.clear();
}

RawServer::RawServer(Script script, const TestCertificates* certificates)
    : script_(std::move(script)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  if (certificates != nullptr) {
    std::signal(SIGPIPE, SIG_IGN);  // TLS writes without asking for none
    tls_ = SSL_CTX_new(TLS_server_method());
    SSL_CTX_use_certificate_chain_file(tls_, certificates->chainFile().c_str());
    SSL_CTX_use_PrivateKey_file(tls_, certificates->keyFile().c_str(), SSL_FILETYPE_PEM);
    if (certificates->clientsNeedOne()) {
      SSL_CTX_load_verify_locations(tls_, certificates->rootFile().c_str(), nullptr);
      SSL_CTX_set_verify(tls_, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    }
    SSL_CTX_set_tlsext_status_cb(tls_, staple);
    SSL_CTX_set_tlsext_status_arg(tls_, const_cast<TestCertificates*>(certificates));
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener_, any, size) != 0 || listen(listener_, 64) != 0 ||
      getsockname(listener_, any, &size) != 0)
    throw std::runtime_error("no free port");
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptAll(); });
}

RawServer::~RawServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (const int open : open_)
      shutdown(open, SHUT_RDWR);
  }
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  for (std::thread& thread : threads_)
    thread.join();
  close(listener_);
  SSL_CTX_free(tls_);
}

void RawServer::acceptAll() {
  for (;;) {
    const int accepted = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex_);
    if (accepted < 0 || stopping_) {
      if (accepted >= 0) close(accepted);
      return;
    }
    open_.push_back(accepted);
    threads_.emplace_back([this, accepted] { serve(accepted); });
  }
}

void RawServer::serve(int accepted) {
  SSL* const tls = tls_ != nullptr ? SSL_new(tls_) : nullptr;
  if (tls == nullptr || (SSL_set_fd(tls, accepted) == 1 && SSL_accept(tls) == 1)) {
    Connection connection(accepted, tls);
    script_(connection);
  }
  SSL_free(tls);
  const std::lock_guard lock(mutex_);
  std::erase(open_, accepted);
  close(accepted);
}

std::string RawServer::url(std::string_view target, std::string_view scheme) const {
  return std::string(scheme) + "://127.0.0.1:" + std::to_string(port()) + std::string(target);
}

}  // namespace kelm::testing
