#include "kelm/network/zu_http_response.h"

#include <string_view>
#include <utility>

#include "kelm/base/format.h"
#include "kelm/base/utf16.h"

namespace kelm {

namespace {

constexpr std::size_t kTooBigCharacters = 10000;
constexpr std::size_t kLargestShownBytes = 999;
constexpr std::string_view kNoBody = "<no body>";
constexpr std::string_view kTooBig = "<body too big>";

template <class T>
std::shared_ptr<const T> shared(std::optional<T> value) {
  return value ? std::make_shared<const T>(std::move(*value)) : nullptr;
}

std::string_view shownText(const Data* body) {
  if (body == nullptr || !isValidUtf8(textOf(*body))) return kNoBody;
  const std::string_view text = textOf(*body);
  return utf16Length(text) >= kTooBigCharacters ? kTooBig : text;
}

Value shownBytes(const Data* body) {
  if (body == nullptr) return kNoBody;
  if (body->size() > kLargestShownBytes) return kTooBig;
  return *body;
}

}  // namespace

std::shared_ptr<ZuHTTPResponse> ZuHTTPResponse::initWithZuResponse(const ZuHTTPResponse& other) {
  return std::make_shared<ZuHTTPResponse>(other);
}

void ZuHTTPResponse::setBodyResponse(std::optional<Data> body) { body_ = shared(std::move(body)); }

void ZuHTTPResponse::setHeadersResponse(std::optional<Dictionary> headers) {
  headers_ = shared(std::move(headers));
}

void ZuHTTPResponse::setCookiesResponse(std::optional<Cookies> cookies) {
  cookies_ = shared(std::move(cookies));
}

std::string ZuHTTPResponse::description() const {
  return format("Response Code:%@\n%@\n%@", statusCode_,
                headers_ ? describe(*headers_) : "<no headers>", shownText(body_.get()));
}

Dictionary ZuHTTPResponse::dictionaryDescription() const {
  Value cookies = "<no cookie headers>";
  if (cookies_) {
    List list;
    for (const platform::Cookie& cookie : *cookies_)
      list.emplace_back(platform::describe(cookie));
    cookies = std::move(list);
  }
  Dictionary fields{{"Response Code", statusCode_},
                    {"Response Body", shownBytes(body_.get())},
                    {"Response Headers", headers_ ? Value(*headers_) : Value("<no headers>")},
                    {"Response Cookie Headers", std::move(cookies)}};
  return {{"Response:", std::move(fields)}};
}

}  // namespace kelm
