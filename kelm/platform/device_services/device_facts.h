#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Facts about the machine and its operating system. Nothing is cached here; a file that
/// cannot be read counts as absent. Thread-safe.
class KELM_API DeviceFacts {
 public:
  virtual ~DeviceFacts() = default;
  /// Holds the one in use; `current<DeviceFacts>()` returns it.
  static Slot<DeviceFacts>& slot();
  /// Makes the system's own. On Linux it reads the device tree, DMI, os-release and the control
  /// group's limits below the root folder.
  static std::shared_ptr<DeviceFacts> makeSystem();

  /// The hardware's name as it stands. On Linux the device tree's model, else DMI's vendor and
  /// product, else the kernel's machine, such as "x86_64".
  virtual std::optional<std::string> machine() const = 0;
  /// The operating system's version, such as "12" or "9.3.1"; empty when it has none. On Linux
  /// VERSION_ID of os-release, else BUILD_ID.
  virtual std::string systemVersion() const = 0;
  /// The kernel's release, such as "6.1.0-18-amd64".
  virtual std::string kernelVersion() const = 0;
  /// Physical memory in bytes.
  virtual std::uint64_t physicalMemory() const = 0;
  /// The memory in bytes that this process may use at most; absent without a limit.
  virtual std::optional<std::uint64_t> memoryLimit() const = 0;
  /// True for a tablet, a convertible and a hand-held computer.
  virtual bool isTablet() const = 0;
  /// True if a framework of unit tests is in the process: a symbol "XCTest", or GoogleTest's.
  virtual bool isBeingUnitTested() const = 0;
};

}  // namespace kelm::platform
