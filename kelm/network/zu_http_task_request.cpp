#include <algorithm>
#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/base/url.h"
#include "kelm/collections/vasp_dictionary_util.h"
#include "kelm/crypto/zu_string_encoder.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/network/zu_http_multipart_builder.h"
#include "kelm/network/zu_http_task_state.h"

namespace kelm {

namespace {

struct CommonHeaders {
  Mutex mutex;
  Dictionary headers KELM_GUARDED_BY(mutex);
};

CommonHeaders& commonHeaders() {
  static auto* const kHeaders = new CommonHeaders;
  return *kHeaders;
}

std::string verbOf(ZuHTTPMethod method) {
  std::string verb(ZuHTTPTask::methodStringFromValue(method));
  for (char& c : verb)
    c = static_cast<char>(c - ('a' - 'A'));
  return verb;
}

bool hasBody(ZuHTTPMethod method) {
  return method == ZuHTTPMethod::Post || method == ZuHTTPMethod::Put;
}

/// The URL with the brackets of its query escaped, as many servers have them in the names of their
/// parameters. Absent, with a line in the log, if it cannot be formed.
std::optional<std::string> formedUrl(std::optional<std::string_view> url) {
  const std::string_view text = url.value_or("");
  const std::size_t query = std::min(text.find('?'), text.size());
  std::string formed(text.substr(0, query));
  for (const char c : text.substr(query)) {
    if (c == '[' || c == ']')
      formed += c == '[' ? "%5B" : "%5D";
    else
      formed += c;
  }
  if (Url::isReference(formed)) return formed;
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kError, log_aspect::kFrontend | log_aspect::kNet, "-[ZuHTTPTask buildRequest]",
      "URL not well encoded %@", url);
  return std::nullopt;
}

void setPairs(std::string_view query, Dictionary& parameters) {
  for (;;) {
    const std::size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    const std::size_t equals = pair.find('=');
    if (equals == std::string_view::npos) raiseOutOfRange(1, 1);
    const std::string_view rest = pair.substr(equals + 1);
    const auto key = ZuStringEncoder::urlDecodeString(pair.substr(0, equals));
    auto value = ZuStringEncoder::urlDecodeString(rest.substr(0, rest.find('=')));
    if (key && value) parameters.set(*key, std::move(*value));
    if (end == std::string_view::npos) return;
    query.remove_prefix(end + 1);
  }
}

/// The part before the first "?"; the pairs of what follows, up to the next "?", go into
/// `parameters`.
std::string_view splitQuery(std::string_view url, Dictionary& parameters) {
  const std::size_t mark = url.find('?');
  if (mark == std::string_view::npos) return url;
  const std::string_view tail = url.substr(mark + 1);
  const std::string_view query = tail.substr(0, tail.find('?'));
  if (query.find('=') != std::string_view::npos) setPairs(query, parameters);
  return url.substr(0, mark);
}

void fillQuery(platform::UrlRequest& request, const std::optional<std::string>& url,
               Dictionary& parameters) {
  request.url = formedUrl(url ? std::optional(splitQuery(*url, parameters)) : std::nullopt);
  if (parameters.empty()) return;
  // No "?" is left in the URL, so the query never has to join one with "&".
  request.url =
      format("%@?%@", request.url, VaspDictionaryUtil::queryStringFromNSDictionary(parameters));
}

std::optional<Data> encodedParameters(Dictionary parameters, ZuHTTPParamEncoding encoding) {
  if (encoding == ZuHTTPParamEncoding::Form)
    return dataOf(VaspDictionaryUtil::queryStringFromNSDictionary(parameters));
  if (encoding != ZuHTTPParamEncoding::Json) return std::nullopt;
  const auto json = writeJson(Value(std::move(parameters)), JsonStyle::Pretty);
  return json ? std::optional<Data>(dataOf(*json)) : std::nullopt;
}

std::optional<std::string_view> contentTypeOf(ZuHTTPParamEncoding encoding) {
  if (encoding == ZuHTTPParamEncoding::Json) return "application/json; charset=utf-8";
  if (encoding == ZuHTTPParamEncoding::Form)
    return "application/x-www-form-urlencoded; charset=utf-8";
  return std::nullopt;
}

}  // namespace

ZuHTTPTask::RequestInputs ZuHTTPTask::requestInputs() const {
  const Lock lock(mutex_);
  RequestInputs inputs{held_->url,           {},       held_->additionalHeaders, held_->body,
                       multiPartParameters_, encoding_};
  if (held_->parameters) inputs.parameters = *held_->parameters;
  return inputs;
}

std::optional<platform::UrlRequest> ZuHTTPTask::buildRequest() {
  RequestInputs inputs = requestInputs();
  platform::UrlRequest request;
  request.method = verbOf(method_);
  Dictionary headers;
  if (!hasBody(method_)) {
    fillQuery(request, inputs.url, inputs.parameters);
  } else {
    request.url = formedUrl(inputs.url);
    if (inputs.body && !inputs.body->empty()) {
      request.body = std::move(inputs.body);
    } else if (!inputs.parameters.empty()) {
      request.body = encodedParameters(std::move(inputs.parameters), inputs.encoding);
    } else if (!inputs.parts.empty()) {
      std::string boundary;
      request.body =
          ZuHTTPMultipartBuilder::multipartDataWithParameters_boundary(inputs.parts, &boundary);
      headers.set("Content-Type", format("multipart/form-data; boundary=%@", boundary));
      headers.set("Content-Length", format("%@", request.body->size()));
    }
  }
  {
    CommonHeaders& common = commonHeaders();
    const Lock lock(common.mutex);
    headers.addEntries(common.headers);
  }
  if (const auto type = contentTypeOf(inputs.encoding)) headers.set("Content-Type", *type);
  headers.addEntries(inputs.additionalHeaders);
  setMutableHeaderDict(std::move(headers));
  return request;
}

void ZuHTTPTask::addCommonHttpHeaders(const Dictionary& headers) {
  CommonHeaders& common = commonHeaders();
  const Lock lock(common.mutex);
  common.headers.addEntries(headers);
}

}  // namespace kelm
