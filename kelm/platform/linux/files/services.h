#pragma once

#include <memory>

#include "kelm/platform/file_system.h"

// Makers of file systems for tests and benchmarks; `FileSystem::makeSystem()` makes the usual one.
namespace kelm::platform {

class FileCalls;

/// `calls`: the system calls, which a test makes fail.
std::shared_ptr<FileSystem> makeFileSystem(std::shared_ptr<const FileCalls> calls);
/// Syncs nothing, so that a loss of power may take what was acknowledged.
std::shared_ptr<FileSystem> makeUnsyncedFileSystem();

}  // namespace kelm::platform
