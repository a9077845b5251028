#include <gtest/gtest.h>

#include "kelm/base/error.h"
#include "kelm/network/multi_endpoint_manager.h"
#include "tests/network/network_fixture.h"

namespace kelm {
namespace {

using testing::NetworkFixture;

TEST(Endpoint, SettingsChooseTheBaseUrl) {
  const NetworkFixture f;
  KelmCoreAppExposedHooks::getInstance().setServerBaseContextPath("app");
  MultiEndpointManager::setEnvironmentTable(
      {"http://zero:8091", "https://one:8080/", "https://two", "https://three", "http://web:80"});
  const struct {
    Value endpoint;
    Value environment;
    std::string url;
  } kRows[] = {
      {Null{}, Null{}, "http://zero:8091/app"},
      {"", 1, "https://one:8080/app"},
      {"", "2", "https://two/app"},
      {"", -1, "http://web:80/app"},
      {"HTTPS://host", 1, "HTTPS://host"},
      {"hTTp://", Null{}, "hTTp://"},
      {"host", 1, "http://host/app"},
      {"host:1/", Null{}, "http://host:1//app"},
      {"http:/host", Null{}, "http://http:/host/app"},
  };
  for (const auto& row : kRows) {
    ASSERT_FALSE(f.services.userDefaults->setObject("settingsEndpoint", row.endpoint));
    ASSERT_FALSE(f.services.userDefaults->setObject("environment", row.environment));
    EXPECT_EQ(MultiEndpointManager::getSettingsBundleUrl1(), row.url);
  }
  MultiEndpointManager::setEnvironmentTable({});
}

TEST(Endpoint, MissingContextPathRaisesUnlessTheSettingIsAWholeUrl) {
  const NetworkFixture f;
  EXPECT_THROW((void)MultiEndpointManager::getSettingsBundleUrl1(), Exception);
  ASSERT_FALSE(f.services.userDefaults->setObject("settingsEndpoint", "https://host"));
  EXPECT_EQ(MultiEndpointManager::getSettingsBundleUrl1(), "https://host");
  ASSERT_FALSE(f.services.userDefaults->setObject("settingsEndpoint", "host"));
  EXPECT_EQ(MultiEndpointManager::getSettingsBundleUrl1(), "http://host/(null)");
}

}  // namespace
}  // namespace kelm
