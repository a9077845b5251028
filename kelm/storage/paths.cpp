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

// Takes the next component that is neither empty nor "." off the front; "" at the end.
std::string_view nextComponent(std::string_view& rest) {
  while (!rest.empty()) {
    const std::string_view component = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(rest.size(), component.size() + 1));
    if (!component.empty() && component != ".") return component;
  }
  return {};
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

bool isSameOrHolds(std::string_view folder, std::string_view path) {
  if (folder.starts_with('/') != path.starts_with('/')) return false;
  for (;;) {
    const std::string_view expected = nextComponent(folder);
    if (expected.empty()) return true;
    if (nextComponent(path) != expected) return false;
  }
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
