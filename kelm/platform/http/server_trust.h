#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/data.h"

namespace kelm::platform {

/// The certificates that a server presented, and the system's verdict on them.
struct ServerTrust {
  std::string host;
  std::vector<Data> chain;       ///< DER, leaf first; up to the root if the chain verifies
  bool trustedBySystem = false;  ///< the chain, its dates and the host name
  std::string
      refusal;  ///< why the system does not trust it, such as "hostname mismatch"; else empty

  std::size_t certificateCount() const { return chain.size(); }
  /// The DER bytes of one certificate, 0 being the leaf; absent beyond the last.
  std::optional<DataView> certificateAtIndex(std::size_t index) const {
    return index < chain.size() ? std::optional<DataView>(chain[index]) : std::nullopt;
  }
};

}  // namespace kelm::platform
