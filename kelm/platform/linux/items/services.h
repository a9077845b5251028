#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/platform/items/item_store.h"

// Makers for tests and benchmarks; `ItemStore::makeSystem()` makes the usual one.
namespace kelm::platform {

struct SqliteItemStoreOptions {
  /// Where the database and its key file are; empty: "Keychain" in the home folder in use.
  std::string folder;
  std::string vfs;                  ///< SQLite's name of how it reaches files; empty: its own way
  int patienceMilliseconds = 2000;  ///< how long a change waits for that of another process
  /// The access groups that items may name; absent: all of them.
  std::optional<std::vector<std::string>> accessGroups;
};
std::shared_ptr<ItemStore> makeSqliteItemStore(SqliteItemStoreOptions options);

}  // namespace kelm::platform
