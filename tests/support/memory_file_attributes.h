#pragma once

#include <memory>
#include <utility>

#include "kelm/platform/file_attributes.h"
#include "tests/support/memory_file_system.h"

namespace kelm::test {

/// Attributes of the items of a file tree in memory. Every call counts for the fault ladder.
class MemoryFileAttributes : public platform::FileAttributes, public FaultLadder {
 public:
  explicit MemoryFileAttributes(std::shared_ptr<MemoryFileSystem> files)
      : files_(std::move(files)) {}

  Failure setProtection(const std::string& path, std::string_view protectionClass) override {
    if (const int error = nextCall()) return failedAt(path, error);
    return failedAt(path, files_->setAttribute(path, kProtection, protectionClass));
  }
  std::optional<std::string> protection(const std::string& path) const override {
    return nextCall() == 0 ? files_->attribute(path, kProtection) : std::nullopt;
  }
  Failure setExcludedFromBackup(const std::string& path, bool excluded) override {
    if (const int error = nextCall()) return failedAt(path, error);
    return failedAt(path, excluded ? files_->setAttribute(path, kNoBackup, "")
                                   : files_->removeAttribute(path, kNoBackup));
  }
  bool isExcludedFromBackup(const std::string& path) const override {
    return nextCall() == 0 && files_->attribute(path, kNoBackup).has_value();
  }

 private:
  static constexpr const char* kProtection = "protection";
  static constexpr const char* kNoBackup = "nobackup";

  static Failure failedAt(const std::string& path, int error) {
    if (error == 0) return {};
    Error result = posixError(error, path);
    result.userInfo.set("NSFilePath", path);
    return result;
  }

  const std::shared_ptr<MemoryFileSystem> files_;
};

}  // namespace kelm::test
