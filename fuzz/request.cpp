// link: kelm_network kelm_collections kelm_crypto kelm_logging kelm_platform kelm_base
// Request building: byte 0 is the method, byte 1 the encoding, then the URL up to a line end, then
// parameters as a query string.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "kelm/base/data.h"
#include "kelm/base/error.h"
#include "kelm/collections/vasp_dictionary_util.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/network/zu_http_task.h"

namespace {

class NoLog : public kelm::VaspLogDelegate {
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel, kelm::LogAspect, const char*,
                                                   std::string_view, std::string_view) override {}
};

void require(bool holds) {
  if (!holds) std::abort();
}

/// Whether a pair of the URL's query has no "=", though the query has one.
bool lacksEquals(std::string_view url) {
  const std::size_t mark = url.find('?');
  if (mark == std::string_view::npos) return false;
  const std::string_view tail = url.substr(mark + 1);
  std::string_view query = tail.substr(0, tail.find('?'));
  if (query.find('=') == std::string_view::npos) return false;
  for (;;) {
    const std::size_t end = query.find('&');
    if (query.substr(0, end).find('=') == std::string_view::npos) return true;
    if (end == std::string_view::npos) return false;
    query.remove_prefix(end + 1);
  }
}

void checkRequest(const kelm::platform::UrlRequest& request, bool queryBranch) {
  require(request.headers.empty());
  if (queryBranch) require(!request.body);
  if (!request.url) return;
  for (const char c : *request.url)
    require(c > ' ' && c < '\x7f');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  [[maybe_unused]] static const bool kQuiet =
      (kelm::VaspLogger::setLogDelegate(std::make_shared<NoLog>()), true);
  if (size < 2) return 0;
  const auto method = static_cast<kelm::ZuHTTPMethod>(static_cast<std::int8_t>(bytes[0]));
  const auto encoding = static_cast<kelm::ZuHTTPParamEncoding>(bytes[1] % 4);
  const std::string_view rest = kelm::textOf({bytes + 2, size - 2});
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view url = rest.substr(0, end);

  const auto task =
      kelm::ZuHTTPTask::initWithURL_andMethod_usingSession(std::string(url), method, nullptr);
  task->setRequestParametersEncoding(encoding);
  task->setRequestParameters(kelm::VaspDictionaryUtil::NSDictionaryFromQueryString(
      rest.substr(std::min(end + 1, rest.size()))));
  const bool queryBranch = method != kelm::ZuHTTPMethod::Post && method != kelm::ZuHTTPMethod::Put;
  try {
    const auto request = task->buildRequest();
    require(request.has_value() && !(queryBranch && lacksEquals(url)));
    checkRequest(*request, queryBranch);
  } catch (const kelm::Exception& raised) {
    require(raised.name() == kelm::exception_name::kRange && queryBranch && lacksEquals(url));
  }
  return 0;
}
