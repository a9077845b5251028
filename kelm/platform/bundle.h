#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// The installed application. Thread-safe.
class KELM_API Bundle {
 public:
  virtual ~Bundle() = default;
  /// Holds the one in use; `current<Bundle>()` returns it.
  static Slot<Bundle>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Bundle> makeSystem();
  /// Reverse-domain name, such as "com.example.till"; it names the application's folders and its
  /// entries in the system's log. Absent when the host gave none and none could be found.
  virtual std::optional<std::string> identifier() const = 0;
  /// The application's read-only folder: absolute, no trailing "/".
  virtual std::string path() const = 0;
  /// A value of the application's description file; absent when it has none.
  virtual std::optional<Value> info(std::string_view key) const = 0;
  /// The text under a key of the application's main string table, in the user's language; the key
  /// itself when there is none. On Linux the table is the description's dictionary "strings".
  virtual std::string localizedText(std::string_view key) const {
    const std::optional<Value> table = info("strings");
    const auto* texts = table ? table->get<Dictionary>() : nullptr;
    const Value* text = texts != nullptr ? texts->find(key) : nullptr;
    return std::string(text != nullptr ? text->text().value_or(key) : key);
  }
};

/// The application as its host describes it; its description file is "Info.json" in `path`.
/// `path`: absolute; empty: the folder of the running program. `identifier`: one that cannot name
/// a folder (empty, ".", "..", with "/" or NUL) counts as not given; then the description's text
/// "bundleIdentifier" is taken, else "local." and the program's name, so that nothing need be
/// configured and no two programs share their files.
/// The system's own platform gives the environment's KELM_BUNDLE_ID as identifier and no path.
KELM_API std::shared_ptr<Bundle> makeBundle(std::string_view identifier, std::string_view path);

}  // namespace kelm::platform
