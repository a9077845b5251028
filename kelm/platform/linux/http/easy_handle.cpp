#include "kelm/platform/linux/http/easy_handle.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#include "kelm/base/ascii.h"
#include "kelm/base/describe.h"
#include "kelm/base/url.h"
#include "kelm/platform/linux/http/network_thread.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr long kReceiveBufferBytes = 64 * 1024;
constexpr std::size_t kExpectFromBytes = 1024 * 1024;  // from here on libcurl would send "Expect"

/// Headers that frame the message: the transport's own, whatever the request says.
constexpr std::string_view kTransportHeaders[] = {"Connection", "Content-Length",
                                                  "Transfer-Encoding", "Upgrade"};

bool isTransportHeader(std::string_view name) {
  return std::any_of(std::begin(kTransportHeaders), std::end(kTransportHeaders),
                     [&](std::string_view own) { return equalsIgnoringCase(own, name); });
}

/// Without the file libcurl would end every secure connection, also one to a server that the
/// delegate knows.
bool hasSystemRoots() {
  const char* const file = curl_version_info(CURLVERSION_NOW)->cainfo;
  return file != nullptr && ::access(file, R_OK) == 0;
}

long millisecondsOf(double seconds) {
  constexpr double kMost = 24.0 * 3600;
  return seconds > 0 ? static_cast<long>(std::min(seconds, kMost) * 1000) + 1 : 0;
}

int onSocketMade(void*, curl_socket_t socket, curlsocktype) {
  NetworkThread::instance().markLasting(socket);
  return CURL_SOCKOPT_OK;
}

int onSocketUnused(void*, curl_socket_t socket) {
  NetworkThread::instance().closeLasting(socket);
  return 0;
}

}  // namespace

bool environmentNamesProxy() {
  constexpr const char* kVariables[] = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                        "ALL_PROXY"};
  return std::any_of(std::begin(kVariables), std::end(kVariables),
                     [](const char* name) { return std::getenv(name) != nullptr; });
}

bool hasHeader(const Dictionary& headers, std::string_view name) {
  return std::any_of(headers.begin(), headers.end(), [&](const Dictionary::Entry& entry) {
    return equalsIgnoringCase(entry.key, name);
  });
}

void HeaderLines::clear() {
  text_.clear();
  starts_.clear();
}

void HeaderLines::add(std::string_view name, std::string_view value) {
  starts_.push_back(text_.size());
  text_.append(name);
  if (value.empty())
    text_.append(";");
  else
    text_.append(": ").append(value);
  text_.push_back('\0');
}

void HeaderLines::suppress(std::string_view name) {
  starts_.push_back(text_.size());
  text_.append(name).append(":").push_back('\0');
}

curl_slist* HeaderLines::list() {
  nodes_.resize(starts_.size());
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    nodes_[i].data = text_.data() + starts_[i];
    nodes_[i].next = i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr;
  }
  return nodes_.empty() ? nullptr : nodes_.data();
}

EasyHandle::EasyHandle(const UrlSessionConfiguration& configuration, const Callbacks& callbacks)
    : curl_(curl_easy_init()) {
  if (curl_ == nullptr) throw std::bad_alloc();
  const auto set = [this](CURLoption option, auto value) {
    curl_easy_setopt(curl_, option, value);
  };
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_PATH_AS_IS, 1L);  // the URL is in its normal form
  if (configuration.proxy)
    set(CURLOPT_PROXY, configuration.proxy->c_str());
  else if (!environmentNamesProxy())
    set(CURLOPT_PROXY, "");  // or libcurl looks for every transfer
  std::string noProxy;
  for (const std::string& host : configuration.noProxyFor)
    noProxy.append(noProxy.empty() ? "" : ",").append(host);
  if (configuration.proxy) set(CURLOPT_NOPROXY, noProxy.c_str());
  if (!configuration.unixSocket.empty())
    set(CURLOPT_UNIX_SOCKET_PATH, configuration.unixSocket.c_str());
  using IpVersion = UrlSessionConfiguration::IpVersion;
  set(CURLOPT_IPRESOLVE, configuration.ipVersion == IpVersion::V4 ? long{CURL_IPRESOLVE_V4}
                         : configuration.ipVersion == IpVersion::V6
                             ? long{CURL_IPRESOLVE_V6}
                             : long{CURL_IPRESOLVE_WHATEVER});
  if (configuration.acceptsCompressed) set(CURLOPT_ACCEPT_ENCODING, "");
  if (configuration.minBytesPerSecond > 0) {
    set(CURLOPT_LOW_SPEED_LIMIT, static_cast<long>(configuration.minBytesPerSecond));
    set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(configuration.requestTimeoutSeconds) + 1);
  }
  set(CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_PIPEWAIT, 1L);
  set(CURLOPT_CONNECTTIMEOUT_MS, millisecondsOf(configuration.connectTimeoutSeconds));
  set(CURLOPT_SSL_VERIFYHOST, 0L);  // the name is part of the verdict that the delegate is given
  // A resumed TLS session would skip the challenge.
  set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
  // With a folder of roots libcurl reads the roots anew for every connection, and a file that is
  // given would only be added to the system's.
  set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  if (configuration.trustRootsFile)
    set(CURLOPT_CAINFO, configuration.trustRootsFile->c_str());
  else if (!hasSystemRoots())
    set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
  set(CURLOPT_SOCKOPTFUNCTION, &onSocketMade);
  set(CURLOPT_CLOSESOCKETFUNCTION, &onSocketUnused);
  set(CURLOPT_WRITEFUNCTION, callbacks.write);
  set(CURLOPT_HEADERFUNCTION, callbacks.header);
  set(CURLOPT_XFERINFOFUNCTION, callbacks.progress);
  set(CURLOPT_PREREQFUNCTION, callbacks.beforeSending);
  set(CURLOPT_RESOLVER_START_FUNCTION, callbacks.nameNeeded);
  set(CURLOPT_QUICK_EXIT, 1L);  // never waits for a resolver's thread
  set(CURLOPT_SSL_CTX_FUNCTION, callbacks.secureContext);
}

EasyHandle::~EasyHandle() { curl_easy_cleanup(curl_); }

void EasyHandle::attach(void* owner) {
  for (const CURLoption option :
       {CURLOPT_PRIVATE, CURLOPT_WRITEDATA, CURLOPT_HEADERDATA, CURLOPT_XFERINFODATA,
        CURLOPT_PREREQDATA, CURLOPT_RESOLVER_START_DATA, CURLOPT_SSL_CTX_DATA})
    curl_easy_setopt(curl_, option, owner);
}

void EasyHandle::prepare(const UrlRequest& request, const std::string& cookies,
                         bool reportsUpload) {
  const auto url = Url::parse(*request.url);
  curl_easy_setopt(curl_, CURLOPT_URL, url ? url->text().c_str() : "");
  curl_easy_setopt(curl_, CURLOPT_NOPROGRESS, reportsUpload ? 0L : 1L);
  prepareMethod(request);
  prepareHeaders(request, cookies);
}

void EasyHandle::setAddresses(const std::string& addresses) {
  addresses_.data = const_cast<char*>(addresses.c_str());
  curl_easy_setopt(curl_, CURLOPT_RESOLVE, addresses.empty() ? nullptr : &addresses_);
}

void EasyHandle::prepareMethod(const UrlRequest& request) {
  const std::string& method = request.method;
  const bool hasBody = request.body && !request.body->empty() && method != "HEAD";
  const bool sendsLength = method == "POST" || method == "PUT" || method == "PATCH";
  if (method == "HEAD") {
    curl_easy_setopt(curl_, CURLOPT_NOBODY, 1L);
  } else if (hasBody || sendsLength) {
    curl_easy_setopt(curl_, CURLOPT_POST, 1L);
    const auto size = hasBody ? static_cast<curl_off_t>(request.body->size()) : 0;
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, size);
    const void* const bytes = hasBody ? static_cast<const void*>(request.body->data()) : "";
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, bytes);
  } else {
    curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
  }
  const bool usual = method == "HEAD" || method == (hasBody || sendsLength ? "POST" : "GET");
  curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, usual ? nullptr : method.c_str());
}

void EasyHandle::prepareHeaders(const UrlRequest& request, const std::string& cookies) {
  headers_.clear();
  for (const auto& [name, value] : request.headers) {
    if (isTransportHeader(name)) continue;
    if (const auto text = value.text())
      headers_.add(name, *text);
    else
      headers_.add(name, describe(value));
  }
  if (!hasHeader(request.headers, "User-Agent"))
    headers_.add("User-Agent", "KelmCore/" KELM_VERSION);
  if (!cookies.empty()) headers_.add("Cookie", cookies);
  if (request.body && request.body->size() > kExpectFromBytes &&
      !hasHeader(request.headers, "Expect"))
    headers_.suppress("Expect");
  if (!hasHeader(request.headers, "Content-Type")) headers_.suppress("Content-Type");
  curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_.list());
}

}  // namespace kelm::platform::url_sessions
