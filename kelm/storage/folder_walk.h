#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "kelm/base/result.h"
#include "kelm/platform/file_system.h"

namespace kelm {

/// Visits what a folder holds: folders before what is in them, otherwise in the order of the file
/// system, hidden items (and what hidden folders hold) left out. Links are items, never followed.
/// Needs no stack for depth.
class FolderWalk {
 public:
  struct Item {
    std::string path;
    platform::FileKind kind;
  };
  /// Told every item; true enters it if it is a folder. May remove the item, and take its path
  /// when it does not enter.
  using Visit = std::function<bool(Item& item)>;
  /// Told every folder that cannot be read; the walk goes on.
  using Unreadable = std::function<void(const std::string& folder, const Error& error)>;

  explicit FolderWalk(const platform::FileSystem& files) : files_(files) {}

  void run(const std::string& root, const Visit& visit, const Unreadable& unreadable) const;
  /// Whether an item is a folder: what the listing told, else asked anew.
  Result<bool> isFolder(const Item& item) const;

 private:
  const platform::FileSystem& files_;
};

}  // namespace kelm
