#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Hands a URL to the program that the user's system has for its scheme. Thread-safe.
class KELM_API UrlOpener {
 public:
  virtual ~UrlOpener() = default;
  /// Holds the one in use; `current<UrlOpener>()` returns it.
  static Slot<UrlOpener>& slot();
  /// Makes the system's own, for the schemes "shoebox" and "https". On Linux it runs `gio open`,
  /// without a shell, for 5 seconds at most.
  static std::shared_ptr<UrlOpener> makeSystem();
  /// The same for a host's own list of schemes, in small letters.
  static std::shared_ptr<UrlOpener> makeForSchemes(std::vector<std::string> schemes);
  /// True if a program took it. False, and nothing runs, for a scheme that is not on the list.
  virtual bool open(std::string_view url) = 0;
};

}  // namespace kelm::platform
