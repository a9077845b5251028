// link: kelm_network
// Request building: byte 0 is the method, byte 1 the encoding, then the URL up to a line end, then
// parameters as a query string.

#include "fuzz/support/silence.h"
#include "fuzz/support/target.h"
#include "kelm/base/error.h"
#include "kelm/collections/vasp_dictionary_util.h"
#include "kelm/network/zu_http_task.h"

namespace kelm::fuzz {
namespace {

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

void checkRequest(const platform::UrlRequest& request, bool queryBranch) {
  require(request.headers.empty());
  if (queryBranch) require(!request.body);
  if (!request.url) return;
  for (const char c : *request.url)
    require(c > ' ' && c < '\x7f');
}

}  // namespace

void run(DataView input) {
  silenceLog();
  if (input.size() < 2) return;
  const auto method = static_cast<ZuHTTPMethod>(static_cast<std::int8_t>(input[0]));
  const auto encoding = static_cast<ZuHTTPParamEncoding>(input[1] % 4);
  std::string_view parameters = textOf(input.subspan(2));
  const std::string_view url = takeLine(parameters);
  const auto task =
      ZuHTTPTask::initWithURL_andMethod_usingSession(std::string(url), method, nullptr);
  task->setRequestParametersEncoding(encoding);
  task->setRequestParameters(VaspDictionaryUtil::NSDictionaryFromQueryString(parameters));
  const bool queryBranch = method != ZuHTTPMethod::Post && method != ZuHTTPMethod::Put;
  try {
    const auto request = task->buildRequest();
    require(request.has_value() && !(queryBranch && lacksEquals(url)));
    checkRequest(*request, queryBranch);
  } catch (const Exception& raised) {
    require(raised.name() == exception_name::kRange && queryBranch && lacksEquals(url));
  }
}

}  // namespace kelm::fuzz
