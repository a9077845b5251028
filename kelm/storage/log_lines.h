#pragma once

#include <type_traits>

#include "kelm/logging/vasp_logger.h"

// The log calls of the file handlers: their area, with or without the frontend's.
namespace kelm::file_log {

template <class... Arguments>
void warn(const char* from, FormatString<std::type_identity_t<Arguments>...> format,
          const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kWarn, log_aspect::kFrontend | log_aspect::kFile, from, format, arguments...);
}

template <class... Arguments>
void error(const char* from, FormatString<std::type_identity_t<Arguments>...> format,
           const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kError, log_aspect::kFrontend | log_aspect::kFile, from, format, arguments...);
}

template <class... Arguments>
void debug(const char* from, FormatString<std::type_identity_t<Arguments>...> format,
           const Arguments&... arguments) {
  VaspLogger::logwithLevel_aspect_from_message(log_level::kDebug, log_aspect::kFile, from, format,
                                               arguments...);
}

}  // namespace kelm::file_log
