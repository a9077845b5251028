#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Looks for signs that somebody interferes with this process. It stops accidents and the curious;
/// whoever is root, or owns the files, can hide from it. Thread-safe.
class KELM_API Integrity {
 public:
  virtual ~Integrity() = default;
  /// Holds the one in use; `current<Integrity>()` returns it.
  static Slot<Integrity>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Integrity> makeSystem();
  /// A name a sign, in this order; empty when there is none. On Linux: "traced" (a debugger is
  /// attached), "preloaded" (LD_PRELOAD is set or /etc/ld.so.preload names a library), "writable:"
  /// and the path of the program or of a library of ours that others than its owner and root may
  /// write, "debug-build" (this library was built without NDEBUG).
  virtual std::vector<std::string> findings() const = 0;
};

}  // namespace kelm::platform
