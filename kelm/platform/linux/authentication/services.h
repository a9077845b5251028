#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "kelm/platform/local_authentication.h"

// A maker for tests; `LocalAuthentication::makeSystem()` makes the usual one.
namespace kelm::platform {

struct SystemAuthenticationOptions {
  std::string service = "kelm";
  /// Where the service's file may be.
  std::vector<std::string> serviceFolders = {"/etc/pam.d", "/usr/lib/pam.d"};
  /// The one folder in which modules are looked up instead of the system's; empty: the system's.
  std::string configuration;
  std::string shadowFile = "/etc/shadow";
  std::string user;  ///< empty: whom the process runs for
  /// How long PAM may take, the user's answer included, before its thread is left to itself.
  std::chrono::nanoseconds patience = std::chrono::minutes(2);
};
std::shared_ptr<LocalAuthentication> makeSystemAuthentication(SystemAuthenticationOptions options);

}  // namespace kelm::platform
