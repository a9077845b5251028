#pragma once

#include <optional>
#include <string>

namespace kelm::platform {

/// A file that the kernel or the administrator keeps small, at most its first 64 KiB; absent when
/// it cannot be read.
std::optional<std::string> readSmallFile(const std::string& path);

/// Its first line, or up to its first NUL, without blanks at the ends; absent when that is empty.
std::optional<std::string> readFirstLine(const std::string& path);

/// The value of a line "key=value" as os-release(5) has it, without its quotes.
std::optional<std::string> assignedValue(const std::string& text, const std::string& key);

}  // namespace kelm::platform
