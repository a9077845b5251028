#pragma once

#include <string>
#include <string_view>

namespace kelm::platform {

/// The user's folder of the XDG Base Directory Specification that the variable names; a value that
/// is unset, empty or relative gives `fallback` below the user's home, as that standard asks.
std::string xdgFolder(const char* variable, const char* fallback);

/// True when the text can be the name of one folder: not empty, no "/", no NUL, not "." or "..".
bool isFolderName(std::string_view text);

}  // namespace kelm::platform
