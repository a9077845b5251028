#pragma once

#include <string>

#include "kelm/base/data.h"
#include "kelm/base/result.h"

namespace kelm {

/// Tells whether the payloads of a folder were encrypted with a key: by a hidden file that holds
/// the version of the folder's layout and a check value, an HMAC-SHA-256 (RFC 2104) of a fixed text
/// and the vector under a key derived from the encryption key, from which neither can be computed.
class FolderKey {
 public:
  /// The state of the folder's check value for the key. `Unknown`: it could not be read now.
  enum class State { Same, NotSet, Other, LaterLayout, Unknown };

  FolderKey(DataView key, DataView vector);

  State stateOf(const std::string& folder) const;
  /// Gives the folder this key, unless it has one. Its state is then that of whoever came first.
  State claim(const std::string& folder) const;
  /// Gives the folder this key in place of any other.
  Failure adopt(const std::string& folder) const;

 private:
  std::string text_;  // what the file holds
};

}  // namespace kelm
