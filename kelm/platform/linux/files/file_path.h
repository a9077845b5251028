#pragma once

#include <string>
#include <string_view>

#include "kelm/base/result.h"

namespace kelm::platform {

/// An errno as an error, with the path under "NSFilePath".
Error fileError(int errnoValue, const std::string& path);

/// The errno for a path that no call may see (empty, holding NUL, too long), else 0.
int pathProblem(const std::string& path);

/// A path without the slashes at its end; "/" stays.
std::string withoutTrailingSlashes(std::string_view path);

/// Where an item is and what it is called there. The name is empty for a path that ends in "/".
struct SplitPath {
  explicit SplitPath(const std::string& path);
  /// True for a name that an item can be made under.
  bool namesAnItem() const { return !name.empty() && name != "." && name != ".."; }

  std::string folder;
  std::string name;
};

}  // namespace kelm::platform
