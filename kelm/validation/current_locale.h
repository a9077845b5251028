#pragma once

#include <string>

#include "kelm/base/export.h"

namespace kelm {

/// The identifier of the user's locale, such as "it_IT": the process's, else what LC_ALL,
/// LC_MESSAGES and LANG say when it is first asked for; "en_US_POSIX" when they say nothing.
KELM_SHARED std::string currentLocale();

}  // namespace kelm
