// link: kelm_collections
// Query strings: what is parsed, written and parsed again stays equal.

#include "fuzz/support/target.h"
#include "kelm/base/utf16.h"
#include "kelm/collections/vasp_dictionary_util.h"

void kelm::fuzz::run(DataView input) {
  using Util = VaspDictionaryUtil;
  Dictionary parsed = Util::NSDictionaryFromQueryString(textOf(input));
  for (const auto& [key, value] : parsed) {
    require(isValidUtf8(key) && isValidUtf8(value.text().value()));
    require(Util::getValueFromDictionary_caseInsesitiveStringKey(parsed, std::string_view(key))
                .has_value());
  }
  parsed.remove("");  // an empty key is never written
  const std::string query = Util::queryStringFromNSDictionary(parsed);
  for (const char c : query)
    require(c > ' ' && c < '\x7f');
  require(Util::NSDictionaryFromQueryString(query) == parsed);
}
