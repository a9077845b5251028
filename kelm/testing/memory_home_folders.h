#pragma once

#include "kelm/base/export.h"
#include "kelm/platform/home_folders.h"

namespace kelm::testing {

/// The folders of an application below one home.
class KELM_API MemoryHomeFolders : public platform::HomeFolders {
 public:
  std::string home() const override { return "/home/till"; }
  std::string documents() const override { return home() + "/Documents"; }
  std::string caches() const override { return home() + "/Caches"; }
  std::string applicationSupport() const override { return library() + "/Application Support"; }
  std::string library() const override { return home() + "/Library"; }
  std::optional<std::string> groupContainer(std::string_view identifier) const override {
    if (identifier.empty() || identifier == "." || identifier.find("..") != identifier.npos ||
        identifier.find_first_of(std::string_view("/\0", 2)) != identifier.npos)
      return std::nullopt;
    return "/groups/" + std::string(identifier);
  }
};

}  // namespace kelm::testing
