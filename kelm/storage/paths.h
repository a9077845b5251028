#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelm::paths {

inline bool isEmpty(std::optional<std::string_view> path) { return !path || path->empty(); }

/// The path as the file system takes it; "" for an absent one.
inline std::string owned(std::optional<std::string_view> path) {
  return std::string(path.value_or(std::string_view()));
}

/// `folder` and `name` with one "/" between them.
std::string child(std::string_view folder, std::string_view name);
/// The last component, trailing "/" ignored: "c" of "a/c/", "/" of "/", "" of "".
std::string_view lastComponent(std::string_view path);
/// What is left without the last component: "a" of "a/c/", "/" of "/c", "" of "c".
std::string_view parent(std::string_view path);

/// Whether percent-escaping a path and parsing the outcome makes a location. The two steps undo
/// each other for every byte but NUL, so that a location is kept as the path that it came from.
inline bool formsLocation(std::string_view path) {
  return path.find('\0') == std::string_view::npos;
}
/// The location of an item as a file URL (RFC 8089); a folder's ends in "/".
std::string fileUrl(std::string_view path, bool isFolder);

}  // namespace kelm::paths
