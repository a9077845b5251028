#pragma once

#include <string>

#include "kelm/base/result.h"

namespace terminal {

/// What the till is told from outside. Only the holder of the signer's private key can write it.
struct Configuration {
  std::string acquirerUrl;
  std::string version;  ///< tells one sealed file from another
};

/// Opens the sealed configuration of a file. `trustFolder` holds what comes with a release of the
/// till: "certificate" (the signer's, DER), "key" and "iv", each as Base64. The error's description
/// says what is wrong, for the user.
kelm::Result<Configuration> readConfiguration(const std::string& file,
                                              const std::string& trustFolder);

}  // namespace terminal
