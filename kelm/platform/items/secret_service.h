#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/result.h"
#include "kelm/platform/items/item_store.h"

namespace kelm::platform {

/// The item store in the Secret Service of the session bus (freedesktop.org), for a host that
/// chooses it: `use(*connectSecretService())`. Nothing ever falls back from
/// this store to another one or the other way round: each would seem to have lost the items of the
/// other. The error (`ItemStore::kStatusDomain`) tells why it cannot be used: no message bus, no
/// such service on it, or a library that was built without one.
///
/// Items belong to the bundle's identifier. `accessGroups`: those that items may name; absent: all
/// of them.
///
/// Its limits, beside those of every item store: the service keeps the items from other users, not
/// from other programs on the bus; what access control demands is asked for by this library alone.
/// While the service is locked its items are `kInteractionNotAllowed`, and so is adding; nobody is
/// asked to unlock it. remove() of several items may have removed some when it fails. The copies
/// that the library of the bus makes of secrets are not wiped.
KELM_API Result<std::shared_ptr<ItemStore>> connectSecretService(
    std::optional<std::vector<std::string>> accessGroups = std::nullopt);

}  // namespace kelm::platform
