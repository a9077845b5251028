#include "kelm/device/vasp_device_util.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/platform/graphics/screen.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;

class DeviceUtil : public ::testing::Test {
 protected:
  DeviceUtil() { VaspDeviceUtil::forgetAll(); }
  ~DeviceUtil() override { VaspDeviceUtil::forgetAll(); }

  void setRoutes(std::string_view name, std::string_view content) {
    ASSERT_FALSE(services.fileSystem->createDirectories("/proc/net"));
    ASSERT_FALSE(
        services.fileSystem->replaceFile("/proc/net/" + std::string(name), bytesOf(content)));
  }

  struct SetScreen : platform::Screen {
    platform::ScreenInfo mainScreen() const override { return info; }
    platform::ScreenInfo info{{375, 812}, 3, {0, 44, 375, 768}, {1125.9, 2436.9}};
  };

  TestPlatform services;
  TestScope scope{services};
  std::shared_ptr<SetScreen> screen = std::make_shared<SetScreen>();
  platform::ScopedService<platform::Screen> screenScope{screen};
};

TEST_F(DeviceUtil, ModelsGiveTheirLevel) {
  const struct {
    std::string machine, model;
    std::int32_t level;
  } kRows[] = {
      {"iPad7,5", "iPad7,5", 7},
      {"iPhone12,1", "iPhone12,1", 10},
      {"iPod9,1", "iPod9,1", 9},
      {"Watch4,2", "Watch4,2", 0},
      {"i386", "i386", 7},
      {"AppleTV5,3", "AppleTV5,3", 0},
      {"My SIMULATOR", "My SIMULATOR", 7},
      {"iPhoneiPad7", "iPhoneiPad7", 0},
      {"iPad 99999999999", "iPad 99999999999", 10},
      {"iPad-3", "iPad-3", 0},
      {"A(1)<\"%;>&+|\r\n", "A_1___________", 0},
  };
  for (const auto& row : kRows) {
    VaspDeviceUtil::resetCache();
    services.deviceFacts->machineName = row.machine;
    EXPECT_EQ(VaspDeviceUtil::getModel(), row.model);
    EXPECT_EQ(VaspDeviceUtil::currentDeviceLevel(), row.level) << row.machine;
    EXPECT_EQ(VaspDeviceUtil::canBlur(), row.level > 4);
  }
}

TEST_F(DeviceUtil, CachesLastUntilTheApplicationLeavesTheForeground) {
  for (const char* name : {"UIApplicationDidEnterBackgroundNotification",
                           "UIApplicationWillResignActiveNotification"}) {
    services.deviceFacts->machineName = "iPad5,1";
    EXPECT_EQ(VaspDeviceUtil::currentDeviceLevel(), 5);
    services.deviceFacts->machineName = "iPad6,1";
    EXPECT_EQ(VaspDeviceUtil::getModel(), "iPad5,1");
    EXPECT_EQ(VaspDeviceUtil::currentDeviceLevel(), 5);
    services.notificationCenter->post({name, nullptr, {}});
    EXPECT_EQ(VaspDeviceUtil::getModel(), "iPad6,1");
    EXPECT_EQ(VaspDeviceUtil::currentDeviceLevel(), 6);
    VaspDeviceUtil::resetCache();
  }
}

TEST_F(DeviceUtil, FailingOrEmptyModelIsADashAndNotKept) {
  struct Failing : MemoryDeviceFacts {
    std::optional<std::string> machine() const override { throw std::runtime_error("no"); }
  };
  {
    const platform::ScopedService<platform::DeviceFacts> failing(std::make_shared<Failing>());
    EXPECT_EQ(VaspDeviceUtil::getModel(), "-");
  }
  services.deviceFacts->machineName = "";
  EXPECT_EQ(VaspDeviceUtil::getModel(), "-");
  services.deviceFacts->machineName = "iPad5,1";
  EXPECT_EQ(VaspDeviceUtil::getModel(), "iPad5,1");
}

TEST_F(DeviceUtil, VersionsCompareFromTheFirstNumberAndZeroSkips) {
  const struct {
    std::string system;
    std::int32_t a, b, c;
    bool isAtLeast;
  } kRows[] = {
      {"9.3", 0, 5, 0, false},    {"10", 10, 0, 0, true},     {"10", 10, 7, 7, true},
      {"11.2", 10, 9, 9, true},   {"9.9.9", 10, 0, 0, false}, {"10.3.1", 10, 3, 2, false},
      {"10.3.1", 10, 3, 1, true}, {"10.3.1", 10, 2, 9, true}, {"10.3.1", 0, 0, 2, false},
      {"", 1, 0, 0, false},       {"x.4", 0, 4, 0, true},
  };
  for (const auto& row : kRows) {
    VaspDeviceUtil::forgetAll();
    services.deviceFacts->version = row.system;
    EXPECT_EQ(VaspDeviceUtil::isSystemAtLeastVersion_subversion_revision(row.a, row.b, row.c),
              row.isAtLeast)
        << row.system << ' ' << row.a << ' ' << row.b << ' ' << row.c;
  }
  VaspDeviceUtil::forgetAll();
  services.deviceFacts->version = "10beta.1";
  EXPECT_EQ(VaspDeviceUtil::getMainOSVersion(), 10);
  services.deviceFacts->version = "11";
  EXPECT_TRUE(VaspDeviceUtil::isAtLeastiOS10());
  EXPECT_FALSE(VaspDeviceUtil::isAtLeastiOS11());  // read once
}

TEST_F(DeviceUtil, CarrierPartsAreCleanedAndMissingOnesDashed) {
  EXPECT_EQ(VaspDeviceUtil::getCarrierInfo(), "-_-_-");
  services.telephony->registered = {"222", "01", "Tele 2!\xC3\xA9_"};
  EXPECT_EQ(VaspDeviceUtil::getCarrierInfo(), "01_222_Tele_2___");
  services.telephony->registered = {"", std::nullopt, "A"};
  EXPECT_EQ(VaspDeviceUtil::getCarrierInfo(), "-_-_A");
}

TEST_F(DeviceUtil, DumpHasItsKeysAndTheLastIntegrityCheck) {
  const auto dumped = [](bool online, const char* mode, const char* intact) {
    return Dictionary{{"physical_screen_height", 2436},
                      {"physical_screen_width", 1125},
                      {"network_mode", mode},
                      {"has_internet_connection", online},
                      {"is_intact", intact}};
  };
  EXPECT_EQ(VaspDeviceUtil::dump(), dumped(false, "none", "unknown"));
  EXPECT_FALSE(VaspDeviceUtil::isJailbroken());
  setRoutes("route", "Iface\tDestination\n wwan0\t00000000\t0\t0003\t0\t0\t0\t00000000\n");
  EXPECT_EQ(VaspDeviceUtil::dump(), dumped(true, "cell", "true"));
  services.integrity->signs = {"traced"};
  EXPECT_TRUE(VaspDeviceUtil::isJailbroken());
  EXPECT_THAT(VaspDeviceUtil::integrityFindings(), ElementsAre("traced"));
  const std::string zeros(32, '0');
  setRoutes("ipv6_route", zeros + " 00 x 00 x 0 0 0 00000003 eth0\n");
  EXPECT_EQ(VaspDeviceUtil::dump(), dumped(true, "wifi", "false"));
}

TEST_F(DeviceUtil, RoutesThatLeadNowhereAreNoConnection) {
  for (const char* line : {"eth0\t00000000\t0\t0002\t0\t0\t0\t00000000\n",  // down
                           "eth0\t00000000\t0\t0201\t0\t0\t0\t00000000\n",  // refused
                           "lo\t00000000\t0\t0003\t0\t0\t0\t00000000\n",
                           "eth0\t0000000A\t0\t0001\t0\t0\t0\t00FFFFFF\n",  // a network
                           "eth0\t00000000\t0"}) {
    setRoutes("route", line);
    EXPECT_FALSE(VaspDeviceUtil::hasInternetConnection()) << line;
  }
}

TEST_F(DeviceUtil, ScreenBarMemoryAndWatchComeFromTheirServices) {
  struct Bar : platform::InProcessApplication {
    double statusBarHeight() const override { return 44; }
  };
  EXPECT_EQ(VaspDeviceUtil::heightOfTheStatusBar(), 0);
  KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler(
      [] { return std::make_shared<Bar>(); });
  EXPECT_EQ(VaspDeviceUtil::heightOfTheStatusBar(), 44);
  KelmCoreAppExposedHooks::getInstance().setSharedApplicationHandler({});
  EXPECT_EQ(VaspDeviceUtil::getScreenScale(), 3);
  EXPECT_EQ(VaspDeviceUtil::screenSize(), (Size{375, 812}));
  EXPECT_EQ(VaspDeviceUtil::screenSizeWithoutStatusbar(), (Size{375, 768}));
  screen->info = {};
  EXPECT_EQ(VaspDeviceUtil::getScreenScale(), 1);
  services.deviceFacts->memory = (std::uint64_t{0x80000000} << 20) + 1;
  EXPECT_EQ(VaspDeviceUtil::ramAmount(), "-2147483648");
  services.watchSession->paired = true;
  EXPECT_FALSE(VaspDeviceUtil::hasAppleWatchPaired());
  services.watchSession->supported = true;
  EXPECT_TRUE(VaspDeviceUtil::hasAppleWatchPaired());
}

}  // namespace
}  // namespace kelm::testing
