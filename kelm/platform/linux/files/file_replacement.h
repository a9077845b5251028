#pragma once

#include <string>

#include "kelm/base/data.h"
#include "kelm/platform/linux/files/file_calls.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

/// Puts a new content in the place of a regular file, or where nothing is. The content is complete
/// and synced before it has any name that a reader could follow. Used once.
class FileReplacement {
 public:
  /// `folder` is open, and borrowed; `name` is that of a direct child.
  FileReplacement(const FileCalls& calls, int folder, const std::string& name);
  /// An errno, 0 for success: then name and content are durable. EEXIST when something has the name
  /// and is not to be replaced.
  int run(DataView content, bool mayReplace);

 private:
  int readOld();
  int write(DataView content, bool isNameless);
  int publishNameless();
  int publishNamed();

  const FileCalls& calls_;
  const int folder_;
  const std::string& name_;
  bool mayReplace_ = true;
  bool replaces_ = false;
  mode_t permissions_;
  Descriptor file_;
  std::string temporaryName_;  // empty while the file has none
};

}  // namespace kelm::platform
