#pragma once

#include <type_traits>

#include "kelm/logging/vasp_logger.h"

// The log calls of the keychain. What they print must never hold a secret: names and queries, no
// values.
namespace kelm::keychain_log {

template <class... Arguments>
[[gnu::always_inline]] inline void frontend(LogLevel level, const char* from,
                                            FormatString<std::type_identity_t<Arguments>...> format,
                                            const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(level, log_aspect::kKeychain | log_aspect::kFrontend,
                                               from, format, arguments...);
}

template <class... Arguments>
void debug(const char* from, FormatString<std::type_identity_t<Arguments>...> format,
           const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(log_level::kDebug, log_aspect::kKeychain, from,
                                               format, arguments...);
}

}  // namespace kelm::keychain_log
