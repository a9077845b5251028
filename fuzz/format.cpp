// link: kelm_base

#include <cstdint>
#include <cstdlib>
#include <string>

#include "kelm/base/format.h"
#include "kelm/base/utf16.h"

/// The first byte says how many arguments there are, the rest is the format; the format is also
/// one of the arguments.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace kelm;
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  const std::string_view view(text);
  const std::optional<Value> nothing;
  const List list{1, "a"};
  const FormatArgument arguments[] = {text,      -1,
                                      1e300 / 3, list,
                                      nothing,   std::uint64_t(bytes[0]),
                                      view,      static_cast<const void*>(bytes),
                                      -0.0,      'x'};
  std::string out;
  appendFormat(out, text, std::span(arguments, bytes[0] % (std::size(arguments) + 1)));
  if (text.find('%') == text.npos && out != text) std::abort();

  const std::size_t units = utf16Length(text);
  const std::size_t cut = units * bytes[0] / 255;
  const std::string left = utf16Substring(text, 0, cut);
  const std::string right = utf16Substring(text, cut, units - cut);
  if (utf16Length(left) != cut || utf16Length(right) != units - cut) std::abort();
  if (!isValidUtf8(left) || !isValidUtf8(right)) std::abort();
  return 0;
}
