#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Where the application keeps its files: absolute paths without a trailing "/". The folders need
/// not exist yet. Thread-safe. On Linux, by the XDG Base Directory Specification with the bundle's
/// identifier <id>: home is $XDG_DATA_HOME/<id>, and in it lie "Documents", "Library" and
/// "Library/Application Support"; caches is $XDG_CACHE_HOME/<id>; a group's container is
/// $XDG_DATA_HOME/groups/<group>. A variable that is unset, empty or relative counts as its
/// default.
class KELM_API HomeFolders {
 public:
  virtual ~HomeFolders() = default;
  /// Holds the one in use; `current<HomeFolders>()` returns it.
  static Slot<HomeFolders>& slot();
  /// Makes the system's own.
  static std::shared_ptr<HomeFolders> makeSystem();
  virtual std::string home() const = 0;
  virtual std::string documents() const = 0;
  virtual std::string caches() const = 0;
  virtual std::string applicationSupport() const = 0;
  virtual std::string library() const = 0;
  /// The container shared by an application group; absent for an identifier that is empty or
  /// holds "/", NUL or "..".
  virtual std::optional<std::string> groupContainer(std::string_view identifier) const = 0;
};

}  // namespace kelm::platform
