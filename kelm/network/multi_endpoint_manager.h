#pragma once

#include <string>

#include "kelm/base/export.h"

namespace kelm {

/// Base URLs of the servers that the setting "environment" chooses between. They are deployment
/// data: the defaults are hosts of a reserved domain that answer nowhere, and a host puts its own
/// in place with `MultiEndpointManager::setEnvironmentTable`.
struct EnvironmentTable {
  std::string developmentContainer = "http://dev-container.kelm.example:8091";  ///< 0
  std::string production = "https://production.kelm.example:8080";              ///< 1
  std::string customerFrontEnd = "https://payments.customer.example";           ///< 2
  std::string utilityServer = "https://utility.kelm.example";                   ///< 3
  std::string developmentWeb = "http://dev-web.kelm.example:8080";              ///< every other
};

/// The server's base URL, by the settings that testers may edit. Thread-safe.
class KELM_API MultiEndpointManager {
 public:
  MultiEndpointManager() = delete;

  /// `getSettingsBundleUrl1` The setting "settingsEndpoint", unless it is empty: as it stands when
  /// it begins with "http://" or "https://" in any case, else "http://", the setting, "/" and the
  /// hooks' `serverBaseContextPath`. Without that setting, the base URL that the number
  /// "environment" (0 when missing) selects, "/" unless it ends in one, and that path.
  /// REQUIRES `serverBaseContextPath`: without it the second form raises
  /// NSInvalidArgumentException, and the bare host shows "(null)" in its place.
  static std::string getSettingsBundleUrl1();

  /// Replaces the table, for a host at its start.
  static void setEnvironmentTable(EnvironmentTable table);
};

}  // namespace kelm
