#pragma once

#include <memory>
#include <string_view>

#include "kelm/logging/vasp_logger.h"

namespace kelm::fuzz {

/// Drops every log line from the first call on.
inline void silenceLog() {
  class Silence final : public VaspLogDelegate {
   public:
    void logwithLevel_aspect_from_threadName_message(LogLevel, LogAspect, const char*,
                                                     std::string_view, std::string_view) override {}
  };
  static const bool kSilent = [] {
    VaspLogger::setLogDelegate(std::make_shared<Silence>());
    return true;
  }();
  (void)kSilent;
}

}  // namespace kelm::fuzz
