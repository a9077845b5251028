// link: kelm_base

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kelm/base/json.h"

/// What parses must be written, and read back as what is written the same; in both styles. Not as
/// an equal value: the shortest text of a double above 2^53 may be that of another integer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace kelm;
  const Result<Value> value = parseJson({reinterpret_cast<const char*>(bytes), size});
  if (!value) return 0;
  for (const JsonStyle style : {JsonStyle::Compact, JsonStyle::Pretty}) {
    const auto text = writeJson(*value, style);
    if (!text) std::abort();
    const Result<Value> again = parseJson(*text);
    if (!again || writeJson(*again, style) != text) std::abort();
  }
  return 0;
}
