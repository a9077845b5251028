#pragma once

#include <utility>

#include "kelm/platform/home_folders.h"

namespace kelm::test {

/// The folders of an application below one home.
class MemoryHomeFolders : public platform::HomeFolders {
 public:
  explicit MemoryHomeFolders(std::string home = "/home/till") : home_(std::move(home)) {}

  std::string home() const override { return home_; }
  std::string documents() const override { return home_ + "/Documents"; }
  std::string caches() const override { return home_ + "/Caches"; }
  std::string applicationSupport() const override { return home_ + "/Library/Application Support"; }
  std::string library() const override { return home_ + "/Library"; }
  std::optional<std::string> groupContainer(std::string_view identifier) const override {
    if (identifier.empty() || identifier == "." || identifier.find("..") != identifier.npos ||
        identifier.find_first_of(std::string_view("/\0", 2)) != identifier.npos)
      return std::nullopt;
    return "/groups/" + std::string(identifier);
  }

 private:
  const std::string home_;
};

}  // namespace kelm::test
