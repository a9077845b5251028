#pragma once

#include "kelm/base/export.h"

namespace kelm {

/// Asks about the device's passcode. Thread-safe; never throws.
class KELM_API VaspPasscodeUtil {
 public:
  /// `passcodeStatus` 1: one is set; 2: none is; 0: that could not be found out.
  int passcodeStatus() const;
};

}  // namespace kelm
