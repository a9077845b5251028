#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "kelm/base/export.h"
#include "kelm/platform/file_attributes.h"
#include "kelm/testing/memory_file_system.h"

namespace kelm::testing {

/// Attributes of the items of a file tree in memory. Every call counts for the fault ladder.
class KELM_API MemoryFileAttributes : public platform::FileAttributes, public FaultLadder {
 public:
  explicit MemoryFileAttributes(std::shared_ptr<MemoryFileSystem> files)
      : files_(std::move(files)) {}

  Failure setProtection(const std::string& path, std::string_view protectionClass) override {
    return change(path, [&](auto& attributes) { attributes[kProtection] = protectionClass; });
  }
  std::optional<std::string> protection(const std::string& path) const override {
    return attribute(path, kProtection);
  }
  Failure setExcludedFromBackup(const std::string& path, bool excluded) override {
    return change(path, [&](auto& attributes) {
      attributes.erase(kNoBackup);
      if (excluded) attributes[kNoBackup] = "";
    });
  }
  bool isExcludedFromBackup(const std::string& path) const override {
    return attribute(path, kNoBackup).has_value();
  }

 private:
  using Attributes = MemoryFileSystem::Attributes;
  static constexpr const char* kProtection = "protection";
  static constexpr const char* kNoBackup = "nobackup";

  Failure change(const std::string& path, const std::function<void(Attributes&)>& run) const {
    int error = nextCall();
    if (error == 0) error = files_->changeAttributes(path, run);
    return error == 0 ? Failure() : failedAt(path, error);
  }
  std::optional<std::string> attribute(const std::string& path, const char* name) const {
    std::optional<std::string> value;
    (void)change(path, [&](Attributes& attributes) {
      if (attributes.contains(name)) value = attributes[name];
    });
    return value;
  }

  const std::shared_ptr<MemoryFileSystem> files_;
};

}  // namespace kelm::testing
