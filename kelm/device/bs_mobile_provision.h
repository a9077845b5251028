#pragma once

#include <cstdint>
#include <optional>

#include "kelm/base/export.h"
#include "kelm/base/value.h"

namespace kelm {

/// How an application was distributed. No profile gives 1.
enum class ReleaseMode : std::int64_t {
  Unknown = 0,      ///< the profile could not be read
  Development = 2,  ///< a list of devices, debugging allowed
  AdHoc = 3,        ///< a list of devices, debugging not allowed
  AppStore = 4,     ///< no profile, or one without a list of devices
  Enterprise = 5,   ///< the profile provisions all devices
};

/// Reads the provisioning profile in the application's bundle, "embedded.mobileprovision". Its
/// signature is not checked, so whoever can write the bundle can forge the answers. A profile that
/// was read is kept for the life of the process, as is the absence of a file; a failure is not.
/// Nothing is logged. Thread-safe.
class KELM_API BSMobileProvision {
 public:
  BSMobileProvision() = delete;

  /// `getMobileProvision` The property list inside of the profile; empty without a file. Absent if
  /// the file cannot be read, nothing precedes its first "<plist", "</plist>" is missing, or the
  /// text from the one to the other is no dictionary of a property list.
  static std::optional<Dictionary> getMobileProvision();

  /// `releaseMode` By the keys "ProvisionsAllDevices", "ProvisionedDevices" and "get-task-allow"
  /// of "Entitlements".
  static ReleaseMode releaseMode();

  /// Drops what was kept, for a host whose bundle was replaced while it runs.
  static void forgetProfile();
};

}  // namespace kelm
