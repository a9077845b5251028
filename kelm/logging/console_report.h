#pragma once

namespace kelm::logging {

/// In a catch block: "LOG ERROR %@" with the exception on the console. The logger cannot tell of
/// its own failures through itself.
void reportException() noexcept;

/// The same, then a second console line with the call stack.
void reportExceptionWithStack() noexcept;

}  // namespace kelm::logging
