#include "kelm/testing/servers/http_server.h"

#include <strings.h>

#include <algorithm>
#include <sstream>

namespace kelm::testing {

namespace {

constexpr std::size_t kChunkBytes = 1000;

HttpRequest requestOf(const std::string& text) {
  const std::size_t end = text.find("\r\n\r\n");
  HttpRequest request;
  request.body = text.substr(end + 4);
  std::istringstream head(text.substr(0, end + 2));
  std::string line;
  head >> request.method >> request.target;
  std::getline(head, line);
  while (std::getline(head, line)) {
    const std::size_t colon = line.find(':');
    const std::size_t value = line.find_first_not_of(' ', colon + 1);
    request.headers.emplace_back(line.substr(0, colon),
                                 line.substr(value, line.size() - 1 - value));
  }
  return request;
}

std::string textOf(const HttpReply& reply, bool hasBody) {
  std::ostringstream text;
  text << "HTTP/1.1 " << reply.status << " Reply\r\n" << std::hex;
  for (const auto& [name, value] : reply.headers)
    text << name << ": " << value << "\r\n";
  if (!reply.chunked) {
    text << "Content-Length: " << std::dec << reply.body.size() << "\r\n\r\n";
    if (hasBody) text << reply.body;
    return text.str();
  }
  text << "Transfer-Encoding: chunked\r\n\r\n";
  for (std::size_t i = 0; i < reply.body.size(); i += kChunkBytes) {
    const std::string chunk = reply.body.substr(i, kChunkBytes);
    text << chunk.size() << "\r\n" << chunk << "\r\n";
  }
  text << "0\r\n\r\n";
  return text.str();
}

}  // namespace

std::optional<std::string> HttpRequest::header(std::string_view name) const {
  const std::string wanted(name);
  for (const auto& [key, value] : headers)
    if (strcasecmp(key.c_str(), wanted.c_str()) == 0) return value;
  return std::nullopt;
}

HttpServer::HttpServer(Handler handler)
    : handler_(std::move(handler)), isSecure_(false), server_(script()) {}

HttpServer::HttpServer(const TestCertificates& certificates, Handler handler)
    : handler_(std::move(handler)), isSecure_(true), server_(script(), &certificates) {}

RawServer::Script HttpServer::script() {
  return [this](RawServer::Connection& connection) {
    for (std::string text; !(text = connection.readRequest()).empty();) {
      const HttpRequest request = requestOf(text);
      {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
      }
      const HttpReply reply = handler_ ? handler_(request) : HttpReply{200, "ok", {}, false};
      connection.send(textOf(reply, request.method != "HEAD"));
    }
  };
}

std::string HttpServer::url(std::string_view target) const {
  return (isSecure_ ? "https://localhost:" : "http://127.0.0.1:") + std::to_string(port()) +
         std::string(target);
}

std::vector<HttpRequest> HttpServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

}  // namespace kelm::testing
