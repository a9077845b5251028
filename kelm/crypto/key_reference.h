#pragma once

#include <memory>

namespace kelm {

/// A public or private key, opaque and immutable: threads may share it. Released, and its private
/// numbers wiped, with the last reference.
struct CryptoKey;
using KeyReference = std::shared_ptr<const CryptoKey>;

}  // namespace kelm
