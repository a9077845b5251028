#pragma once

#include <string>
#include <string_view>

#include "kelm/platform/linux/files/file_calls.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

// What is not complete yet stands under a hidden name of its own pattern, which list() leaves out.
// Its maker holds a lock (flock) on it from before anybody can take it for abandoned; the end of
// the maker, however it comes, frees the lock, and whoever gets it may remove the item.

/// A new name of that pattern: ".kelm-0123456789abcdef.tmp".
std::string makeTemporaryName();
bool isTemporaryName(std::string_view name);

/// Makes a file, or a folder, of a temporary name, open and locked. Not open, and errno set, for a
/// failure.
Descriptor makeTemporary(const FileCalls& calls, int folder, bool isFolder, std::string& name);

/// Removes an item of a temporary name if its maker is gone.
void removeIfAbandoned(const FileCalls& calls, int folder, const char* name);

}  // namespace kelm::platform
