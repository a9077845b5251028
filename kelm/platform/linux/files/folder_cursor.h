#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

/// Walks folders down and up again with one open descriptor, however deep it goes. Operations
/// return an errno, 0 for success; after a failure the position is what it was.
class FolderCursor {
 public:
  /// Starts in an open folder, which it borrows.
  explicit FolderCursor(int start) : start_(start) {}

  /// The folder that the cursor is in.
  int descriptor() const { return levels_.empty() ? start_ : current_.number(); }
  std::size_t depth() const { return levels_.size(); }
  /// The name of the folder that it is in, as it entered it.
  const std::string& name() const { return levels_.back().name; }
  /// Goes into a child; refuses a link.
  int enter(const std::string& name);
  /// Goes back up; refuses when the folder has been moved elsewhere meanwhile.
  int leave();

 private:
  struct Level {
    std::string name;
    dev_t parentDevice;
    ino_t parentNumber;
  };

  int start_;
  Descriptor current_;
  std::vector<Level> levels_;
};

}  // namespace kelm::platform
