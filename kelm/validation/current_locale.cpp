#include "kelm/validation/current_locale.h"

#include <unicode/locid.h>

namespace kelm {

std::string currentLocale() { return icu::Locale::getDefault().getName(); }

}  // namespace kelm
