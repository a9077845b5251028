// link: kelm_collections kelm_crypto kelm_logging kelm_platform kelm_base
// Query strings: what is parsed, written and parsed again stays equal.

#include <cstdint>
#include <cstdlib>

#include "kelm/base/data.h"
#include "kelm/base/utf16.h"
#include "kelm/collections/vasp_dictionary_util.h"

using kelm::Dictionary;
using kelm::VaspDictionaryUtil;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text = kelm::textOf({bytes, size});
  Dictionary parsed = VaspDictionaryUtil::NSDictionaryFromQueryString(text);
  for (const auto& [key, value] : parsed)
    require(kelm::isValidUtf8(key) && kelm::isValidUtf8(value.text().value()));

  // An empty key is never written.
  parsed.remove("");
  const std::string query = VaspDictionaryUtil::queryStringFromNSDictionary(parsed);
  for (const char c : query)
    require(c > ' ' && c < '\x7f');
  require(VaspDictionaryUtil::NSDictionaryFromQueryString(query) == parsed);

  for (const auto& [key, value] : parsed)
    require(VaspDictionaryUtil::getValueFromDictionary_caseInsesitiveStringKey(
                parsed, std::string_view(key))
                .has_value());
  return 0;
}
