#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/object.h"
#include "kelm/base/value.h"
#include "kelm/platform/http/url_session.h"

namespace kelm {

/// The answer to an HTTP call. Body, headers and cookies are shared, never changed in place: they
/// may be kept after the response is gone. Not thread-safe.
class KELM_API ZuHTTPResponse : public Object {
 public:
  using Cookies = std::vector<platform::Cookie>;

  ZuHTTPResponse() = default;
  /// `initWithZuResponse:` A response with the same four fields, the objects shared.
  static std::shared_ptr<ZuHTTPResponse> initWithZuResponse(const ZuHTTPResponse& other);

  /// `bodyResponse` The body, possibly empty; null when absent.
  const std::shared_ptr<const Data>& bodyResponse() const { return body_; }
  /// `setBodyResponse:`
  void setBodyResponse(std::optional<Data> body);
  /// `statusCode` The HTTP status code; 0 when there was no HTTP response.
  std::int64_t statusCode() const { return statusCode_; }
  /// `setStatusCode:`
  void setStatusCode(std::int64_t code) { statusCode_ = code; }
  /// `headersResponse` All header fields; null when absent.
  const std::shared_ptr<const Dictionary>& headersResponse() const { return headers_; }
  /// `setHeadersResponse:`
  void setHeadersResponse(std::optional<Dictionary> headers);
  /// `cookiesResponse` The cookies that the header fields set; null when absent.
  const std::shared_ptr<const Cookies>& cookiesResponse() const { return cookies_; }
  /// `setCookiesResponse:`
  void setCookiesResponse(std::optional<Cookies> cookies);

  /// `description` "Response Code:", the status code, and on a line each the headers or
  /// "<no headers>" and the body as text: "<no body>" when it is absent or not UTF-8,
  /// "<body too big>" from 10,000 UTF-16 code units on.
  std::string description() const override;

  /// `dictionaryDescription` The four fields by name under the one key "Response:". The body as
  /// bytes, "<body too big>" above 999 bytes, "<no body>" when absent; the cookies as a list of
  /// their descriptions.
  Dictionary dictionaryDescription() const;

 private:
  std::shared_ptr<const Data> body_;
  std::int64_t statusCode_ = 0;
  std::shared_ptr<const Dictionary> headers_;
  std::shared_ptr<const Cookies> cookies_;
};

}  // namespace kelm
