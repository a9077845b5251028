#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "kelm/base/export.h"

namespace kelm::testing {

/// A real folder, empty at first, that is removed with all that it holds.
class KELM_API TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "kelm-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Absolute, without a trailing "/".
  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const { return path_ + '/' + std::string(name); }

 private:
  std::string path_;
};

}  // namespace kelm::testing
