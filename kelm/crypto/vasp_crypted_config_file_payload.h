#pragma once

#include <string>

#include "kelm/base/value.h"

namespace kelm {

/// The content of one sealed configuration file.
struct VaspCryptedConfigFilePayload {
  std::string fileContentHashing;  ///< Base64 of the ciphertext's SHA-256: tells files apart
  Value kelmPayload;               ///< the configuration as it was parsed
};

}  // namespace kelm
