#include "kelm/network/multi_endpoint_manager.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/base/mutex.h"
#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/platform/user_defaults.h"

namespace kelm {

namespace {

struct GuardedTable {
  Mutex mutex;
  EnvironmentTable table KELM_GUARDED_BY(mutex);
};

GuardedTable& guardedTable() {
  static auto* const kTable = new GuardedTable;
  return *kTable;
}

std::string baseUrl(std::int64_t environment) {
  GuardedTable& guarded = guardedTable();
  const Lock lock(guarded.mutex);
  switch (environment) {
    case 0:
      return guarded.table.developmentContainer;
    case 1:
      return guarded.table.production;
    case 2:
      return guarded.table.customerFrontEnd;
    case 3:
      return guarded.table.utilityServer;
    default:
      return guarded.table.developmentWeb;
  }
}

/// Without regard to ASCII case, which is all that matters here: no other letter has a lower case
/// in "http".
bool beginsWith(std::string_view text, std::string_view lowerCasePrefix) {
  if (text.size() < lowerCasePrefix.size()) return false;
  for (std::size_t i = 0; i < lowerCasePrefix.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c) != lowerCasePrefix[i])
      return false;
  }
  return true;
}

}  // namespace

std::string MultiEndpointManager::getSettingsBundleUrl1() {
  const auto& defaults = *platform::current<platform::UserDefaults>();
  const std::optional<std::string> path =
      KelmCoreAppExposedHooks::getInstance().serverBaseContextPath();
  std::string endpoint = defaults.text("settingsEndpoint").value_or("");
  if (!endpoint.empty()) {
    if (beginsWith(endpoint, "http://") || beginsWith(endpoint, "https://")) return endpoint;
    return format("http://%@/%@", endpoint, path);
  }
  std::string url = baseUrl(defaults.integer("environment"));
  if (!url.ends_with('/')) url += '/';
  if (!path) throw Exception(exception_name::kInvalidArgument, "serverBaseContextPath is absent");
  return url + *path;
}

void MultiEndpointManager::setEnvironmentTable(EnvironmentTable table) {
  GuardedTable& guarded = guardedTable();
  const Lock lock(guarded.mutex);
  guarded.table = std::move(table);
}

}  // namespace kelm
