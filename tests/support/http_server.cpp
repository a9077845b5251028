#include "tests/support/http_server.h"

#include <httplib.h>
#include <strings.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "tests/support/test_certificates.h"

namespace kelm::test {

namespace {

constexpr std::size_t kChunkBytes = 1000;
constexpr std::size_t kThreads = 16;

HttpRequest recordOf(const httplib::Request& request) {
  HttpRequest record{request.method, request.target, {}, request.body};
  for (const auto& [name, value] : request.headers)
    record.headers.emplace_back(name, value);
  return record;
}

void fill(httplib::Response& response, HttpReply reply) {
  response.status = reply.status;
  std::string type = "text/plain";
  for (const auto& [name, value] : reply.headers) {
    if (strcasecmp(name.c_str(), "Content-Type") == 0)
      type = value;
    else
      response.headers.emplace(name, value);
  }
  if (!reply.chunked) {
    response.set_content(reply.body, type.c_str());
    return;
  }
  response.set_chunked_content_provider(
      type.c_str(), [body = std::move(reply.body)](std::size_t offset, httplib::DataSink& sink) {
        const std::size_t count = std::min(kChunkBytes, body.size() - offset);
        sink.write(body.data() + offset, count);
        if (offset + count == body.size()) sink.done();
        return true;
      });
}

}  // namespace

std::optional<std::string> HttpRequest::header(std::string_view name) const {
  const std::string wanted(name);
  for (const auto& [key, value] : headers)
    if (strcasecmp(key.c_str(), wanted.c_str()) == 0) return value;
  return std::nullopt;
}

class HttpServer::Implementation {
 public:
  Implementation(std::unique_ptr<httplib::Server> server, bool secure, Handler handler)
      : server_(std::move(server)), secure_(secure), handler_(std::move(handler)) {
    server_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_->set_tcp_nodelay(true);
    server_->set_keep_alive_max_count(1'000'000);
    server_->set_keep_alive_timeout(2);
    server_->set_pre_routing_handler(
        [this](const httplib::Request& request, httplib::Response& response) {
          // A request with a body comes here before the body was read.
          if (hasBody(request)) return httplib::Server::HandlerResponse::Unhandled;
          answer(request, response);
          return httplib::Server::HandlerResponse::Handled;
        });
    const auto answerRead = [this](const httplib::Request& request, httplib::Response& response) {
      answer(request, response);
    };
    server_->Post(".*", answerRead).Put(".*", answerRead).Patch(".*", answerRead);
    server_->Delete(".*", answerRead);
    port_ = server_->bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("no free port");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    while (!server_->is_running())
      std::this_thread::yield();
  }
  ~Implementation() {
    server_->stop();
    thread_.join();
  }

  int port() const { return port_; }
  bool secure() const { return secure_; }
  std::vector<HttpRequest> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  static bool hasBody(const httplib::Request& request) {
    return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
  }
  void answer(const httplib::Request& request, httplib::Response& response) {
    const HttpRequest record = recordOf(request);
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(record);
    }
    fill(response, handler_ ? handler_(record) : HttpReply{200, "ok", {}, false});
  }

  const std::unique_ptr<httplib::Server> server_;
  const bool secure_;
  const Handler handler_;
  int port_ = 0;
  std::thread thread_;
  mutable std::mutex mutex_;
  std::vector<HttpRequest> requests_;
};

HttpServer::HttpServer(Handler handler)
    : implementation_(std::make_unique<Implementation>(std::make_unique<httplib::Server>(), false,
                                                       std::move(handler))) {}

HttpServer::HttpServer(const TestCertificates& certificates, Handler handler)
    : implementation_(std::make_unique<Implementation>(
          std::make_unique<httplib::SSLServer>(certificates.chainFile().c_str(),
                                               certificates.keyFile().c_str()),
          true, std::move(handler))) {}

HttpServer::~HttpServer() = default;

int HttpServer::port() const { return implementation_->port(); }

std::string HttpServer::url(std::string_view target) const {
  return (implementation_->secure() ? "https://localhost:" : "http://127.0.0.1:") +
         std::to_string(port()) + std::string(target);
}

std::vector<HttpRequest> HttpServer::requests() const { return implementation_->requests(); }

}  // namespace kelm::test
