#include "kelm/platform/linux/files/file_path.h"

#include <cerrno>
#include <climits>

namespace kelm::platform {

Error fileError(int errnoValue, const std::string& path) {
  Error error = posixError(errnoValue, path);
  error.userInfo.set("NSFilePath", path);
  return error;
}

int pathProblem(const std::string& path) {
  if (path.empty()) return ENOENT;
  if (path.size() >= PATH_MAX) return ENAMETOOLONG;
  return path.find('\0') == std::string::npos ? 0 : EINVAL;
}

std::string withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  return std::string(path);
}

SplitPath::SplitPath(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  name = path.substr(slash + 1);
  if (slash == std::string::npos)
    folder = ".";
  else
    folder = withoutTrailingSlashes(std::string_view(path).substr(0, slash + 1));
}

}  // namespace kelm::platform
