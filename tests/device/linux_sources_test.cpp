// The services that read files, against folders that stand for a whole system.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "kelm/platform/device_services/url_opener.h"
#include "kelm/platform/device_services/wallet.h"
#include "kelm/platform/linux/device/services.h"
#include "kelm/platform/linux/screen/services.h"
#include "kelm/testing/temporary_folder.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;

class LinuxSources : public ::testing::Test {
 protected:
  void write(const std::string& path, std::string_view content) {
    const std::filesystem::path file = root / path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << content;
  }

  TemporaryFolder root;
};

TEST_F(LinuxSources, ModelIsTheDeviceTreesThenDmisThenTheKernels) {
  const auto facts = platform::makeDeviceFacts(root.path());
  const auto machine = facts->machine();
  EXPECT_TRUE(machine && !machine->empty());
  write("sys/class/dmi/id/product_name", "  Till 9 \n");
  EXPECT_EQ(facts->machine(), "Till 9");
  write("sys/class/dmi/id/sys_vendor", "Acme\n");
  EXPECT_EQ(facts->machine(), "Acme Till 9");
  write("proc/device-tree/model", std::string("Board\0x", 7));
  EXPECT_EQ(facts->machine(), "Board");
}

TEST_F(LinuxSources, VersionIsThatOfOsRelease) {
  const auto facts = platform::makeDeviceFacts(root.path());
  EXPECT_EQ(facts->systemVersion(), "");
  write("usr/lib/os-release", "NAME=x\nBUILD_ID=rolling");
  EXPECT_EQ(facts->systemVersion(), "rolling");
  write("etc/os-release", "OLD_VERSION_ID=1\nVERSION_ID=\"12.4\"\n");
  EXPECT_EQ(facts->systemVersion(), "12.4");
}

TEST_F(LinuxSources, LowestLimitOfTheGroupsAndTheChassisCount) {
  const auto facts = platform::makeDeviceFacts(root.path());
  EXPECT_EQ(facts->memoryLimit(), std::nullopt);
  write("proc/self/cgroup", "1:cpu:/x\n0::/a/b\n");
  write("sys/fs/cgroup/a/b/memory.max", "max\n");
  EXPECT_EQ(facts->memoryLimit(), std::nullopt);
  write("sys/fs/cgroup/a/memory.max", "1000\n");
  write("sys/fs/cgroup/memory.max", "2000\n");
  EXPECT_EQ(facts->memoryLimit(), 1000u);
  EXPECT_FALSE(facts->isTablet());
  write("sys/class/dmi/id/chassis_type", "31\n");
  EXPECT_TRUE(facts->isTablet());
  write("proc/device-tree/chassis-type", "laptop");
  EXPECT_FALSE(facts->isTablet());
}

TEST_F(LinuxSources, IntegrityNamesEachSign) {
  const auto integrity = platform::makeIntegrity(root.path());
  write("proc/self/status", "Name:\tx\nTracerPid:\t0\nUid:\t0\n");
  write("proc/self/exe", "program");
  chmod((root / "proc/self/exe").c_str(), 0755);
  const auto clean = integrity->findings();
  write("proc/self/status", "Name:\tx\nTracerPid:\t17\nUid:\t0\n");
  write("etc/ld.so.preload", "/lib/spy.so\n");
  chmod((root / "proc/self/exe").c_str(), 0757);
  const std::string program = "writable:" + (root / "proc/self/exe");
  for (const auto& sign : {std::string("traced"), std::string("preloaded"), program}) {
    EXPECT_EQ(std::count(clean.begin(), clean.end(), sign), 0) << sign;
    const auto found = integrity->findings();
    EXPECT_EQ(std::count(found.begin(), found.end(), sign), 1) << sign;
  }
}

TEST_F(LinuxSources, ScreenIsTheFirstConnectedOne) {
  const auto screen = platform::makeScreen(root.path());
  EXPECT_EQ(screen->mainScreen().size, Size());
  write("sys/class/drm/card0-A/status", "disconnected\n");
  write("sys/class/drm/card0-A/modes", "640x480\n");
  write("sys/class/drm/card0-B/status", "connected\n");
  write("sys/class/drm/card0-B/modes", "0x0\n");
  EXPECT_EQ(screen->mainScreen().size, Size());
  write("sys/class/drm/card0-C/status", "connected\n");
  write("sys/class/drm/card0-C/modes", "1920x1080\n800x600\n");
  EXPECT_EQ(screen->mainScreen().nativeSize, (Size{1920, 1080}));
}

TEST(FolderWallet, PassesComeInNameOrderAndMalformedOnesAreNamed) {
  TestPlatform services;
  const TestScope scope(services);
  const std::string folder = services.homeFolders->home() + "/wallet";
  const auto wallet = platform::Wallet::makeSystem();
  EXPECT_THAT(wallet->passes(platform::PassType::Payment), ::testing::IsEmpty());
  ASSERT_FALSE(services.fileSystem->createDirectories(folder));
  const std::pair<const char*, std::string> kFiles[] = {
      {"02.json", R"({"type": "payment", "title": "second"})"},
      {"01.json",
       R"({"type": "payment", "primaryAccountNumberSuffix": "12", "passURL": "https://a"})"},
      {"03.json", R"({"type": "barcode"})"},
      {"04.json", "{"},
      {"05.json", std::string((1 << 20) + 1, ' ')},
      {"note.txt", "x"}};
  for (const auto& [name, content] : kFiles)
    ASSERT_FALSE(services.fileSystem->replaceFile(folder + '/' + name, bytesOf(content)));
  using platform::Pass;
  EXPECT_THAT(wallet->passes(platform::PassType::Payment),
              ElementsAre(Pass{platform::PassType::Payment, true, "12", "https://a", ""},
                          Pass{platform::PassType::Payment, true, {}, {}, "second"}));
  EXPECT_THAT(services.console->lines(),
              ElementsAre("The wallet leaves out a malformed pass: 04.json",
                          "The wallet leaves out a malformed pass: 05.json"));
}

TEST_F(LinuxSources, UrlsOfListedSchemesReachTheProgramWithoutAShell) {
  write("gio", "#!/bin/sh\nprintf '%s|' \"$@\" >> " + (root / "seen") +
                   "\ncase $2 in HTTPS:*) exit 0;; *) exit 2;; esac\n");
  chmod((root / "gio").c_str(), 0755);
  const std::string path = getenv("PATH");
  setenv("PATH", (root.path() + ":" + path).c_str(), 1);
  const auto opener = platform::UrlOpener::makeSystem();
  EXPECT_TRUE(opener->open("HTTPS://a/$(touch x); b"));
  EXPECT_FALSE(opener->open("shoebox://"));
  for (const std::string_view url : {"file:///etc", "nothing", ":x", "1https://a", "--help:"})
    EXPECT_FALSE(opener->open(url)) << url;
  setenv("PATH", path.c_str(), 1);
  std::ifstream seen(root / "seen");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(seen), {}),
            "open|HTTPS://a/$(touch x); b|open|shoebox://|");
}

}  // namespace
}  // namespace kelm::testing
