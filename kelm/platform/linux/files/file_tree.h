#pragma once

#include <functional>
#include <string>

#include "kelm/platform/file_system.h"
#include "kelm/platform/linux/files/file_calls.h"

namespace kelm::platform {

// Whole trees, by descriptors: neither the length of a path nor the depth of a tree is limited,
// and no link is followed, also if one takes a folder's place meanwhile. Each returns an errno,
// 0 for success.

/// Calls `visit` with the name and kind of each entry but "." and "..", as long as it returns 0.
/// The kind is `Unknown` where reading it failed. Moves the descriptor's position.
int forEachEntry(int folder, const std::function<int(const char* name, FileKind kind)>& visit);

/// Removes the item and all that it holds; stops at the first failure.
int removeTree(const FileCalls& calls, int folder, const std::string& name);

/// Copies what the open folder `source` holds into the open, empty folder `target`, with
/// permissions, times and extended attributes; all of it is synced, `target` too.
int copyFolder(const FileCalls& calls, int source, int target);

/// Copies content, permissions, times and extended attributes of a regular file; syncs the copy.
int copyFile(const FileCalls& calls, int source, int target);

/// Copies a link as a link.
int copyLink(const FileCalls& calls, int source, const char* from, int target, const char* name);

/// True when `inner` is the folder `outer` or lies in it; also when that cannot be told.
bool holds(int outer, int inner);

/// Writes all bytes, however many calls that takes.
int writeAll(const FileCalls& calls, int file, DataView content);

}  // namespace kelm::platform
