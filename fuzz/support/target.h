#pragma once

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "kelm/base/data.h"

namespace kelm::fuzz {

/// What a target defines; it ends the process where a rule is broken.
void run(DataView input);

inline void require(bool holds) {
  if (!holds) std::abort();
}

/// Takes a line off the front of a text.
inline std::string_view takeLine(std::string_view& rest) {
  const std::string_view line = rest.substr(0, rest.find('\n'));
  rest.remove_prefix(std::min(rest.size(), line.size() + 1));
  return line;
}

}  // namespace kelm::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  kelm::fuzz::run({bytes, size});
  return 0;
}
