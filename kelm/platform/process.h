#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>

#include "kelm/base/export.h"

// What the running process knows of itself. Free functions: there is nothing for a test to replace.
namespace kelm::platform {

/// True on the thread that the process began with.
KELM_API bool isFirstThread();

/// Runs `work` on a thread of its own that nobody waits for, and names it for debuggers and process
/// lists; a long name is cut. It takes none of the signals sent to the process, but for those of
/// faults and of profilers. Throws when there is no thread to be had.
KELM_API void startThread(std::string_view name, std::function<void()> work);

/// Fills in the return addresses of the calls that led here, innermost first, and tells how many;
/// as many as fit. The first call in a process is slow and allocates. Not for signal handlers.
KELM_API std::size_t captureCallStack(std::span<void*> addresses);

/// Calls `take` with "module 0xaddress symbol + offset" of each return address; the symbol is
/// demangled, and "?" when the module does not export it. Texts are kept, so that asking again is
/// cheap. Thread-safe; `take` must not come back here.
KELM_API void describeFrames(std::span<void* const> addresses,
                             const std::function<void(std::string_view)>& take);

}  // namespace kelm::platform
