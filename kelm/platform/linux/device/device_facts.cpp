#include "kelm/platform/device_services/device_facts.h"

#include <dlfcn.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "kelm/platform/linux/device/services.h"
#include "kelm/platform/linux/device/small_file.h"

namespace kelm::platform {

namespace {

class FileDeviceFacts : public DeviceFacts {
 public:
  explicit FileDeviceFacts(std::string root) : root_(std::move(root)) {}

  std::optional<std::string> machine() const override {
    if (auto model = readFirstLine(root_ + "/proc/device-tree/model")) return model;
    const auto vendor = readFirstLine(root_ + "/sys/class/dmi/id/sys_vendor");
    const auto product = readFirstLine(root_ + "/sys/class/dmi/id/product_name");
    if (product) return vendor ? *vendor + ' ' + *product : *product;
    utsname names;
    if (uname(&names) != 0) return std::nullopt;
    return names.machine;
  }

  std::string systemVersion() const override {
    // The second is the vendor's own, where the administrator has none.
    for (const char* file : {"/etc/os-release", "/usr/lib/os-release"}) {
      const auto text = readSmallFile(root_ + file);
      if (!text) continue;
      if (auto version = assignedValue(*text, "VERSION_ID")) return *version;
      return assignedValue(*text, "BUILD_ID").value_or("");
    }
    return "";
  }

  std::string kernelVersion() const override {
    utsname names;
    return uname(&names) == 0 ? names.release : "";
  }

  std::uint64_t physicalMemory() const override {
    struct sysinfo info;
    return sysinfo(&info) == 0 ? std::uint64_t{info.totalram} * info.mem_unit : 0;
  }

  std::optional<std::uint64_t> memoryLimit() const override {
    const auto groups = readSmallFile(root_ + "/proc/self/cgroup");
    const std::size_t at = groups ? groups->find("0::/") : std::string::npos;
    if (at == std::string::npos) return std::nullopt;
    std::string group = groups->substr(at + 3, groups->find('\n', at) - at - 3);
    std::optional<std::uint64_t> lowest;
    // Every group above limits as well.
    for (;;) {
      if (const auto limit = numberIn(root_ + "/sys/fs/cgroup" + group + "/memory.max"))
        lowest = std::min(*limit, lowest.value_or(*limit));
      if (group.empty()) return lowest;
      group.resize(group.rfind('/'));
    }
  }

  bool isTablet() const override {
    constexpr std::array<std::string_view, 4> kTree = {"tablet", "convertible", "detachable",
                                                       "handset"};
    if (const auto chassis = readFirstLine(root_ + "/proc/device-tree/chassis-type"))
      return std::find(kTree.begin(), kTree.end(), *chassis) != kTree.end();
    // SMBIOS 3.6, 7.4.1: hand held, tablet, convertible, detachable.
    constexpr std::array<std::uint64_t, 4> kDmi = {11, 30, 31, 32};
    const auto type = numberIn(root_ + "/sys/class/dmi/id/chassis_type");
    return type && std::find(kDmi.begin(), kDmi.end(), *type) != kDmi.end();
  }

  bool isBeingUnitTested() const override {
    return dlsym(RTLD_DEFAULT, "XCTest") != nullptr ||
           dlsym(RTLD_DEFAULT, "_ZN7testing8UnitTest11GetInstanceEv") != nullptr;
  }

 private:
  static std::optional<std::uint64_t> numberIn(const std::string& path) {
    const auto line = readFirstLine(path);
    std::uint64_t number = 0;
    if (!line) return std::nullopt;
    const auto [end, problem] = std::from_chars(line->data(), line->data() + line->size(), number);
    if (problem != std::errc{} || end != line->data() + line->size()) return std::nullopt;
    return number;
  }

  const std::string root_;
};

}  // namespace

std::shared_ptr<DeviceFacts> makeDeviceFacts(std::string root) {
  return std::make_shared<FileDeviceFacts>(std::move(root));
}

std::shared_ptr<DeviceFacts> DeviceFacts::makeSystem() { return makeDeviceFacts(""); }

}  // namespace kelm::platform
