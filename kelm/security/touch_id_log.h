#pragma once

#include <type_traits>

#include "kelm/logging/vasp_logger.h"

namespace kelm {

template <class... Arguments>
void touchIdDebug(const char* from, FormatString<std::type_identity_t<Arguments>...> format,
                  const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(log_level::kDebug, log_aspect::kTouchId, from,
                                               format, arguments...);
}

}  // namespace kelm
