#pragma once

#include <memory>
#include <string>
#include <utility>

#include "kelm/platform/linux/services.h"
#include "tests/platform/item_store_contract.h"
#include "tests/support/fixed_random.h"
#include "tests/support/manual_clock.h"
#include "tests/support/temporary_folder.h"

namespace kelm::test {

/// A folder of the system and the stores that are opened on it.
struct ItemFolder {
  TemporaryFolder root;
  std::string folder = root / "keys";
  std::string database = folder + "/items.db";
  std::string keyFile = folder + "/master.key";

  platform::SqliteItemStoreParts parts() const {
    platform::SqliteItemStoreParts parts;
    parts.files = platform::makeFileSystem();
    parts.attributes = platform::makeFileAttributes();
    parts.clock = std::make_shared<ManualClock>();
    parts.random = platform::makeSystemRandom();
    parts.folder = folder;
    return parts;
  }
  std::shared_ptr<platform::ItemStore> open() const {
    return platform::makeSqliteItemStore(parts());
  }
};

}  // namespace kelm::test
