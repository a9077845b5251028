#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/describe.h"
#include "kelm/storage/vasp_file_handler.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {

/// A file tree in memory under "/r", and what is logged meanwhile.
struct StorageFixture {
  StorageFixture() { (void)files.createDirectories("/r"); }

  void put(const std::string& path, std::string_view text) {
    ASSERT_FALSE(files.createDirectories(path.substr(0, path.rfind('/'))));
    ASSERT_FALSE(files.replaceFile(path, bytesOf(text)));
  }
  /// The text of a file; "(none)" without one.
  std::string text(const std::string& path) const {
    const auto content = files.readFile(path);
    return content ? std::string(textOf(*content)) : "(none)";
  }
  bool hasGlobalAttributes(const std::string& path) const {
    return attributes.isExcludedFromBackup(path) &&
           attributes.protection(path) == NSFileProtectionCompleteUntilFirstUserAuthentication;
  }
  /// Everything below a folder, folders with a "/" at the end, sorted.
  std::vector<std::string> tree(const std::string& folder) const {
    std::vector<std::string> found;
    const auto entries = files.list(folder);
    if (!entries) return found;
    for (const platform::DirectoryEntry& entry : *entries) {
      const std::string path = folder + "/" + entry.name;
      found.push_back(files.isDirectory(path) ? path + "/" : path);
      const std::vector<std::string> below = tree(path);
      found.insert(found.end(), below.begin(), below.end());
    }
    std::sort(found.begin(), found.end());
    return found;
  }
  /// The lines so far that are not of level DEBUG.
  std::vector<std::string> lines() {
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("DEBUG"); });
    return lines;
  }

  TestPlatform services;
  MemoryFileSystem& files = *services.fileSystem;
  MemoryFileAttributes& attributes = *services.fileAttributes;
  TestScope scope{services};
  LogCapture log;
  VaspFileHandler handler;
};

/// The text that "%@" prints for a system error at a path.
inline std::string errorText(int errnoValue, const std::string& path) {
  return describe(failedAt(path, errnoValue));
}

}  // namespace kelm::testing
