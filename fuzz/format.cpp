// link: kelm_base
// The first byte says how many arguments there are, the rest is the format; the format is also
// one of the arguments.

#include "kelm/base/format.h"
#include "fuzz/support/target.h"
#include "kelm/base/utf16.h"

void kelm::fuzz::run(DataView input) {
  if (input.empty()) return;
  const std::uint8_t first = input[0];
  const std::string text(textOf(input.subspan(1)));
  const std::string_view view(text);
  const std::optional<Value> nothing;
  const List list{1, "a"};
  const FormatArgument arguments[] = {text,      -1,
                                      1e300 / 3, list,
                                      nothing,   std::uint64_t(first),
                                      view,      -0.0,
                                      'x',       static_cast<const void*>(input.data())};
  std::string out;
  appendFormat(out, text, std::span(arguments, first % (std::size(arguments) + 1)));
  require(text.find('%') != text.npos || out == text);

  const std::size_t units = utf16Length(text);
  const std::size_t cut = units * first / 255;
  const std::string left = utf16Substring(text, 0, cut);
  const std::string right = utf16Substring(text, cut, units - cut);
  require(utf16Length(left) == cut && utf16Length(right) == units - cut);
  require(isValidUtf8(left) && isValidUtf8(right));
}
