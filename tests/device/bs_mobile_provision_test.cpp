#include "kelm/device/bs_mobile_provision.h"

#include <gtest/gtest.h>

#include <string>

#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

constexpr const char* kFile = "/app/embedded.mobileprovision";

struct ProfileFixture {
  ProfileFixture() {
    (void)services.fileSystem->createDirectories("/app");
    BSMobileProvision::forgetProfile();
  }
  void install(std::string_view content) {
    ASSERT_FALSE(services.fileSystem->replaceFile(kFile, bytesOf(content)));
  }

  TestPlatform services;
  TestScope scope{services};
};

std::string profile(const std::string& inner) {
  return "\x30\x82\xFF\x80<plist><dict>" + inner + "</dict></plist>\xE9 trailing </plist>";
}

TEST(MobileProvision, ReleaseModeFollowsTheProfile) {
  const std::string kDevices = "<key>ProvisionedDevices</key><array><string>A</string></array>";
  const std::string kAllowed =
      "<key>Entitlements</key><dict><key>get-task-allow</key><true/></dict>";
  std::string deep = "\x30<plist>";
  for (int i = 0; i < 50'000; ++i)
    deep += "<array>";
  const std::string kEntity = "<!DOCTYPE plist [<!ENTITY e \"x\">]><dict/></plist>";
  const struct {
    std::string content;
    ReleaseMode mode;
  } kRows[] = {
      {profile(kDevices + kAllowed), ReleaseMode::Development},
      {profile(kDevices), ReleaseMode::AdHoc},
      {profile(kDevices + "<key>ProvisionsAllDevices</key><true/>"), ReleaseMode::Enterprise},
      {profile("<key>ProvisionsAllDevices</key><false/>" + kAllowed), ReleaseMode::AppStore},
      {profile("<key>ProvisionedDevices</key><array/>"), ReleaseMode::AppStore},
      {profile("").substr(4), ReleaseMode::Unknown},  // nothing before "<plist"
      {"\x30<plist><dict/>", ReleaseMode::Unknown},   // no end
      {"no list", ReleaseMode::Unknown},              // no start
      {"</plist>\x30<plist><dict/>", ReleaseMode::Unknown},
      {profile("<key>a</key>"), ReleaseMode::Unknown},  // malformed
      {"\x30<plist><array/></plist>", ReleaseMode::Unknown},
      {deep + "</plist>", ReleaseMode::Unknown},
      {"\x30<plist>" + kEntity, ReleaseMode::Unknown},
  };
  for (const auto& row : kRows) {
    ProfileFixture f;
    f.install(row.content);
    EXPECT_EQ(BSMobileProvision::releaseMode(), row.mode) << row.content.substr(0, 80);
  }
}

TEST(MobileProvision, FailureIsTriedAgainAndAnAnswerIsKept) {
  ProfileFixture f;
  f.install("no list");
  EXPECT_EQ(BSMobileProvision::getMobileProvision(), std::nullopt);
  ASSERT_FALSE(f.services.fileSystem->remove(kFile));
  EXPECT_EQ(BSMobileProvision::getMobileProvision(), Dictionary());
  f.install(profile("<key>ProvisionsAllDevices</key><true/>"));
  EXPECT_EQ(BSMobileProvision::releaseMode(), ReleaseMode::AppStore);
}

}  // namespace
}  // namespace kelm::testing
