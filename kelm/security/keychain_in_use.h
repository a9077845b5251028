#pragma once

#include <functional>

#include "kelm/base/export.h"

namespace kelm {

/// Installs what the keychain wrapper calls before it stores a protected item, and when it could
/// not delete all; nothing is called until then, and after an empty one. Thread-safe.
KELM_API void setMarkKeychainAsInUse(std::function<void()> mark);

/// Calls it.
void markKeychainAsInUse();

}  // namespace kelm
