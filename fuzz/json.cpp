// link: kelm_coding
// What parses must be written, and read back as what is written the same; in both styles. Not as
// an equal value: the shortest text of a double above 2^53 may be that of another integer.

#include "kelm/base/coding/json.h"
#include "fuzz/support/target.h"

void kelm::fuzz::run(DataView input) {
  const Result<Value> value = parseJson(textOf(input));
  if (!value) return;
  for (const JsonStyle style : {JsonStyle::Compact, JsonStyle::Pretty}) {
    const auto text = writeJson(*value, style);
    require(text.has_value());
    const Result<Value> again = parseJson(*text);
    require(again && writeJson(*again, style) == text);
  }
}
