#include "kelm/platform/linux/core/environment.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace kelm::platform {

namespace {

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  return path;
}

std::string userHome() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/')
    return withoutTrailingSlashes(home);
  std::array<char, 4096> buffer;
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
    return withoutTrailingSlashes(found->pw_dir);
  return "/";
}

}  // namespace

std::string xdgFolder(const char* variable, const char* fallback) {
  if (const char* folder = std::getenv(variable); folder != nullptr && folder[0] == '/')
    return withoutTrailingSlashes(folder);
  const std::string home = userHome();
  return home == "/" ? home + fallback : home + '/' + fallback;
}

bool isFolderName(std::string_view text) {
  return !text.empty() && text != "." && text != ".." &&
         text.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

}  // namespace kelm::platform
