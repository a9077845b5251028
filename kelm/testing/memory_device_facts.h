#pragma once

#include "kelm/base/export.h"
#include "kelm/platform/device_services/device_facts.h"

namespace kelm::testing {

/// A device whose facts are the test's to set, before other threads look.
class KELM_API MemoryDeviceFacts : public platform::DeviceFacts {
 public:
  std::optional<std::string> machine() const override { return machineName; }
  std::string systemVersion() const override { return version; }
  std::string kernelVersion() const override { return "6.1.0"; }
  std::uint64_t physicalMemory() const override { return memory; }
  std::optional<std::uint64_t> memoryLimit() const override { return limit; }
  bool isTablet() const override { return tablet; }
  bool isBeingUnitTested() const override { return true; }

  std::optional<std::string> machineName = "x86_64";
  std::string version = "12.4";
  std::uint64_t memory = std::uint64_t{2} << 30;
  std::optional<std::uint64_t> limit;
  bool tablet = false;
};

}  // namespace kelm::testing
