#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/platform/http/url_session.h"

namespace kelm::platform::url_sessions {

/// Whether there is a header of that name, compared without case.
bool hasHeader(const Dictionary& headers, std::string_view name);

/// The header lines of a request as libcurl takes them, in one buffer.
class HeaderLines {
 public:
  void clear();
  /// A header of that value; an empty value is sent as such.
  void add(std::string_view name, std::string_view value);
  /// Keeps libcurl from sending a header of its own.
  void suppress(std::string_view name);
  /// Links the lines that were added; valid until the next change.
  curl_slist* list();

 private:
  std::string text_;
  std::vector<curl_slist> nodes_;
  std::vector<std::size_t> starts_;
};

/// True if a variable of the environment names a proxy for anything.
bool environmentNamesProxy();

/// A libcurl handle that is used for one transfer after the other. What all transfers of a
/// session have in common is set once.
class EasyHandle {
 public:
  /// `owner`: what the callbacks of `Callbacks` are given is set by attach().
  struct Callbacks {
    curl_write_callback write;
    curl_write_callback header;
    curl_xferinfo_callback progress;
    curl_prereq_callback beforeSending;
    curl_resolver_start_callback nameNeeded;
    curl_ssl_ctx_callback secureContext;
  };

  EasyHandle(const UrlSessionConfiguration& configuration, const Callbacks& callbacks);
  ~EasyHandle();
  EasyHandle(const EasyHandle&) = delete;
  EasyHandle& operator=(const EasyHandle&) = delete;

  CURL* curl() const { return curl_; }
  /// The callbacks of the next transfer are given `owner`.
  void attach(void* owner);
  /// Sets everything that differs from request to request. `cookies`: a Cookie header's value.
  /// Borrows the request until the transfer has ended.
  void prepare(const UrlRequest& request, const std::string& cookies, bool reportsUpload);
  /// The addresses of the next transfer's host, "+host:port:address,…"; libcurl keeps them for a
  /// minute. Empty: none are known. Borrows the text.
  void setAddresses(const std::string& addresses);

 private:
  void prepareMethod(const UrlRequest& request);
  void prepareHeaders(const UrlRequest& request, const std::string& cookies);

  CURL* curl_;
  HeaderLines headers_;
  curl_slist addresses_{};
};

}  // namespace kelm::platform::url_sessions
