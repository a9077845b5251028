#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "kelm/base/export.h"

namespace kelm::logging {

inline constexpr std::size_t kAllLines = std::numeric_limits<std::size_t>::max();

/// Appends the stack of the function that returns to `caller`, without that function itself: lines
/// "index module address symbol + offset" from index 1 on, outermost last, each with a line end.
void appendCallStack(std::string& out, const void* caller, std::size_t mostLines);

/// Every line of the calling function's stack, from index 0 on.
KELM_API std::vector<std::string> callStackSymbols();

/// In a catch block: writes "LOG ERROR %@" with the exception to the console, then a line with the
/// call stack.
KELM_API void reportExceptionWithStack() noexcept;

}  // namespace kelm::logging
