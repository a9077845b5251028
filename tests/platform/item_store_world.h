#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <utility>

#include "kelm/platform/linux/files/services.h"
#include "kelm/platform/linux/items/services.h"
#include "kelm/testing/manual_clock.h"
#include "kelm/testing/temporary_folder.h"
#include "tests/platform/file_world.h"
#include "tests/platform/item_store_fixture.h"

namespace kelm::testing {

/// A folder of the system, the stores that are opened on it, and the database as anybody sees it.
struct ItemFolder {
  ItemFolder() { options.folder = folder; }
  std::shared_ptr<platform::ItemStore> open() const {
    return platform::makeSqliteItemStore(options);
  }

  TemporaryFolder root;
  std::string folder = root / "keys";
  std::string database = folder + "/items.db";
  std::string keyFile = folder + "/master.key";
  platform::SqliteItemStoreOptions options;  // of the stores that are opened next
  platform::ScopedService<platform::FileSystem> files{
      platform::makeFileSystem(std::make_shared<UnsyncedCalls>())};
  platform::ScopedService<platform::Clock> clock{std::make_shared<ManualClock>()};
};

/// A store in a folder of its own.
class SqliteItemStore : public ::testing::Test {
 protected:
  std::int32_t add(std::string_view account, std::string_view secret = kPassword) const {
    return store->add(withSecret(password(account), secret)).status;
  }
  std::string secretOf(std::string_view account) const {
    return secretIn(*store, password(account));
  }
  /// The same in a store that is opened for that alone.
  std::string storedSecretOf(std::string_view account) const {
    return secretIn(*folder.open(), password(account));
  }
  void reopen() {
    store.reset();
    store = folder.open();
  }

  ItemFolder folder;
  std::shared_ptr<platform::ItemStore> store = folder.open();
};

/// Somebody else's connection to a database.
class RawDatabase {
 public:
  explicit RawDatabase(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection_), SQLITE_OK);
    run("PRAGMA synchronous=OFF");
  }
  ~RawDatabase() { sqlite3_close(connection_); }
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;

  /// Runs a statement; the last thing that it selected.
  std::string run(const std::string& sql) {
    std::string selected;
    const auto keep = [](void* result, int, char** columns, char**) {
      *static_cast<std::string*>(result) = columns[0];
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(connection_, sql.c_str(), keep, &selected, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(connection_);
    return selected;
  }

 private:
  sqlite3* connection_ = nullptr;
};

}  // namespace kelm::testing
