#include "kelm/storage/paths.h"

#include <algorithm>
#include <cstddef>

namespace kelm::paths {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  return path;
}

bool staysInUrl(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/!$&'()*+,=:@").find(c) != std::string_view::npos;
}

}  // namespace

std::string child(std::string_view folder, std::string_view name) {
  folder = withoutTrailingSlashes(folder);
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path += folder;
  if (!folder.empty() && folder.back() != '/') path += '/';
  path += name;
  return path;
}

std::string_view lastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos || path.size() == 1 ? path : path.substr(slash + 1);
}

std::string_view parent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return withoutTrailingSlashes(path.substr(0, slash == 0 ? 1 : slash));
}

std::string fileUrl(std::string_view path, bool isFolder) {
  static constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string url = "file://";
  url.reserve(url.size() + path.size() + 8);
  for (const char c : path) {
    if (staysInUrl(c)) {
      url += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      url += '%';
      url += kDigits[byte >> 4];
      url += kDigits[byte & 15];
    }
  }
  if (isFolder && !path.ends_with('/')) url += '/';
  return url;
}

}  // namespace kelm::paths
