// What the item store in SQLite makes of files that somebody damaged, changed or took away.

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/platform/item_store_world.h"
#include "tests/support/fixed_random.h"

namespace kelm::test {
namespace {

const Dictionary kAnyPassword = {{std::string(kSecClass), kSecClassGenericPassword}};

/// Reads a file as it is.
std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void overwrite(const std::string& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

TEST(SqliteItemStore, EveryFlippedBitIsRefusedAndTheItemCanBeReplaced) {
  const ItemFolder folder;
  auto store = folder.open();
  const Dictionary item = with(
      password("anna"), {{std::string(kSecAttrGeneric), "pin"}, {std::string(kSecAttrCreator), 7}});
  ASSERT_EQ(store->add(withSecret(item, std::string(1100, 'k'))).status, 0);
  int refused = 0;
  RawDatabase raw(folder.database);
  const auto flipAll = [&](const std::string& table, const std::string& column, bool reopens) {
    const Data sound = raw.bytes(column + " FROM " + table + " WHERE id = 1");
    for (std::size_t bit = 0; bit < 8 * sound.size(); ++bit) {
      Data flipped = sound;
      flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
      raw.setBytes(table, column, flipped);
      if (reopens) store = folder.open();
      ASSERT_EQ(secretIn(*store, kAnyPassword), "-26275") << table << '.' << column << ' ' << bit;
      ++refused;
    }
    raw.setBytes(table, column, sound);
  };
  flipAll("items", "sealed", false);
  flipAll("items", "attributes", false);
  flipAll("class_keys", "sealed", true);
  EXPECT_GE(refused, 10000);
  EXPECT_EQ(secretIn(*folder.open(), item), std::string(1100, 'k'));

  for (const char* column : {"sealed", "attributes", "identity"}) {
    const Data sound = raw.bytes(std::string(column) + " FROM items WHERE id = 1");
    for (const std::size_t at : {std::size_t{5}, sound.size() - 1}) {
      Data flipped = sound;
      flipped[at] ^= 1;
      raw.setBytes("items", column, flipped);
      EXPECT_NE(secretIn(*store, item).substr(0, 1), "k");
      const std::int32_t removed = store->remove(item);
      EXPECT_TRUE(removed == 0 || removed == -25300) << removed;
      EXPECT_EQ(store->add(withSecret(item, "new")).status, 0) << column << at;
      EXPECT_EQ(secretIn(*store, item), "new");
      raw.run("DELETE FROM items WHERE id <> (SELECT max(id) FROM items); UPDATE items SET id = 1");
    }
  }
}

TEST(SqliteItemStore, ValuesAndAttributesMovedToAnotherRowAreRefused) {
  const ItemFolder folder;
  const auto store = folder.open();
  for (const char* account : {"anna", "bruno"})
    ASSERT_EQ(store->add(withSecret(password(account), account)).status, 0);
  ASSERT_EQ(store
                ->add(withSecret(
                    with(password("carla"), kSecAttrAccessible, kSecAttrAccessibleAlways), "carla"))
                .status,
            0);
  RawDatabase raw(folder.database);
  for (const char* column : {"sealed", "attributes", "class_key"}) {
    raw.run(std::string("UPDATE items SET ") + column + " = (SELECT " + column +
            " FROM items WHERE id = 3) WHERE id = 1");
    EXPECT_EQ(secretIn(*store, password("bruno")), "bruno");
    EXPECT_EQ(secretIn(*store, password("carla")), "carla");
    const std::string moved = secretIn(*store, password("anna"));
    EXPECT_TRUE(moved == "-26275" || moved == "-25300") << column << ' ' << moved;
  }
}

TEST(SqliteItemStore, DamagedItemIsLeftOutOfTheOthers) {
  const ItemFolder folder;
  const auto store = folder.open();
  for (const char* account : {"anna", "bruno"})
    ASSERT_EQ(store->add(withSecret(password(account), account)).status, 0);
  RawDatabase(folder.database).run("UPDATE items SET sealed = x'00' WHERE id = 1");
  const auto all =
      store->copyMatching(with(kAnyPassword, {{std::string(kSecMatchLimit), kSecMatchLimitAll},
                                              {std::string(kSecReturnData), true}}));
  EXPECT_EQ(all.result, Value(List{dataOf("bruno")}));
  EXPECT_EQ(secretIn(*store, password("anna")), "-26275");
}

TEST(SqliteItemStore, SecretsAndKeysStandNowhereInTheFiles) {
  const ItemFolder folder;
  const auto store = folder.open();
  ASSERT_EQ(store->add(withSecret(password("anna"), kPassword)).status, 0);
  const std::string files = contentOf(folder.database) + contentOf(folder.database + "-wal");
  EXPECT_NE(files.find("anna"), std::string::npos);
  EXPECT_EQ(files.find(kCanaryForms[0]), std::string::npos);
  EXPECT_EQ(files.find(contentOf(folder.keyFile)), std::string::npos);
  for (const std::string& path : {folder.database, folder.database + "-wal", folder.keyFile}) {
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U) << path;
  }
}

TEST(SqliteItemStore, KeyFileThatOthersCouldHaveReadOrMadeIsRefusedAndKept) {
  const ItemFolder folder;
  ASSERT_EQ(folder.open()->add(withSecret(password("anna"), kPassword)).status, 0);
  const std::string key = contentOf(folder.keyFile);
  ASSERT_EQ(key.size(), 32U);
  const std::string other = folder.root / "other";
  struct Row {
    const char* what;
    std::function<void()> change;
    std::string answer = "-25291";
  };
  const auto setMode = [&](unsigned mode) { ::chmod(folder.keyFile.c_str(), mode); };
  const Row rows[] = {
      {"group may read", [&] { setMode(0640); }},
      {"others may write", [&] { setMode(0602); }},
      {"cut", [&] { overwrite(folder.keyFile, key.substr(1)); }},
      {"longer", [&] { overwrite(folder.keyFile, key + "x"); }},
      {"empty", [&] { overwrite(folder.keyFile, ""); }},
      {"missing", [&] { std::filesystem::remove(folder.keyFile); }},
      {"folder",
       [&] {
         std::filesystem::remove(folder.keyFile);
         std::filesystem::create_directory(folder.keyFile);
       }},
      {"pipe",
       [&] {
         std::filesystem::remove(folder.keyFile);
         ::mkfifo(folder.keyFile.c_str(), 0600);
       }},
      {"link",
       [&] {
         overwrite(other, key);
         ::chmod(other.c_str(), 0600);
         std::filesystem::remove(folder.keyFile);
         std::filesystem::create_symlink(other, folder.keyFile);
       }},
      {"another key", [&] { overwrite(folder.keyFile, std::string(32, 'x')); }, "-26275"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    row.change();
    const auto store = folder.open();
    EXPECT_EQ(secretIn(*store, password("anna")), row.answer);
    EXPECT_EQ(std::to_string(store->add(password("bruno")).status), row.answer);
    std::filesystem::remove_all(folder.keyFile);
    overwrite(folder.keyFile, key);
    setMode(0600);
    EXPECT_EQ(secretIn(*folder.open(), password("anna")), kPassword);
  }
  if (::geteuid() != 0) GTEST_SKIP() << "SKIPPED: only root can give the key file away";
  ASSERT_EQ(::chown(folder.keyFile.c_str(), 65534, 65534), 0);
  EXPECT_EQ(secretIn(*folder.open(), password("anna")), "-25291");
}

TEST(SqliteItemStore, DatabaseThatIsCutForeignOrOfALaterVersionIsRefusedAndUntouched) {
  const ItemFolder folder;
  ASSERT_EQ(folder.open()->add(withSecret(password("anna"), kPassword)).status, 0);
  const std::string sound = contentOf(folder.database);
  ASSERT_EQ(secretIn(*folder.open(), password("anna")), kPassword);
  int intact = 0;  // of the last pages some are not in use yet
  for (std::size_t size = 1; size < sound.size(); size += size < 200 ? 33 : 1021) {
    overwrite(folder.database, std::string_view(sound).substr(0, size));
    const auto store = folder.open();
    const std::string secret = secretIn(*store, password("anna"));
    EXPECT_TRUE(secret == kPassword || secret[0] == '-') << size << ' ' << secret;
    intact += secret == kPassword ? 1 : 0;
    store->remove(password("anna"));
    store->reportDeviceSecurity({true, {}});
  }
  EXPECT_LT(intact, 10);
  for (const std::string& content : {std::string("SQLite"), std::string(5000, 'x')}) {
    overwrite(folder.database, content);
    EXPECT_EQ(secretIn(*folder.open(), password("anna")), "-25291");
    EXPECT_EQ(folder.open()->add(password("bruno")).status, -25291);
    EXPECT_EQ(contentOf(folder.database), content);
  }
  overwrite(folder.database, sound);
  RawDatabase(folder.database).run("PRAGMA user_version = 2");
  EXPECT_EQ(secretIn(*folder.open(), password("anna")), "-25291");
  EXPECT_EQ(folder.open()->remove(password("anna")), -25291);
  RawDatabase(folder.database).run("PRAGMA user_version = 1");
  EXPECT_EQ(secretIn(*folder.open(), password("anna")), kPassword);
}

TEST(SqliteItemStore, DatabaseThatIsTakenAwayIsMissedAtTheNextCall) {
  const ItemFolder folder;
  const auto store = folder.open();
  ASSERT_EQ(store->add(withSecret(password("anna"), "old")).status, 0);
  std::filesystem::remove_all(folder.folder);
  EXPECT_EQ(secretIn(*store, password("anna")), "-25300");
  EXPECT_EQ(store->add(withSecret(password("anna"), "new")).status, 0);
  EXPECT_EQ(secretIn(*folder.open(), password("anna")), "new");
}

TEST(SqliteItemStore, ForeignAccessGroupsHaveNoAccess) {
  const ItemFolder folder;
  auto parts = folder.parts();
  parts.accessGroups = {"A1.tills"};
  const auto store = platform::makeSqliteItemStore(parts);
  const auto inGroup = [](const char* group) {
    return with(password("anna"), kSecAttrAccessGroup, group);
  };
  for (const char* group : {"", "A1.tills"})
    EXPECT_EQ(store->add(withSecret(inGroup(group), kPassword)).status, 0) << group;
  EXPECT_EQ(store->add(withSecret(inGroup("A1.safes"), kPassword)).status, -25243);
  EXPECT_EQ(secretIn(*store, inGroup("A1.safes")), "-25243");
  EXPECT_EQ(store->remove(inGroup("A1.safes")), -25243);
}

TEST(SqliteItemStore, WithoutRandomnessNothingIsAdded) {
  const ItemFolder folder;
  auto parts = folder.parts();
  const auto random = std::make_shared<FixedRandom>();
  parts.random = random;
  const auto store = platform::makeSqliteItemStore(parts);
  random->setRefuses(true);
  EXPECT_EQ(store->add(withSecret(password("anna"), kPassword)).status, -25291);
  random->setRefuses(false);
  EXPECT_EQ(store->add(withSecret(password("anna"), kPassword)).status, 0);
  random->setRefuses(true);
  EXPECT_EQ(store->add(withSecret(password("bruno"), kPassword)).status, -25291);
  EXPECT_EQ(secretIn(*store, password("bruno")), "-25300");
  EXPECT_EQ(secretIn(*store, password("anna")), kPassword);
}

TEST(SqliteItemStore, TellsWhereItKeepsTheItemsAndWhy) {
  const ItemFolder folder;
  const auto use = folder.open()->use();
  EXPECT_EQ(use.name, "sqlite");
  EXPECT_EQ(use.place, folder.database);
  EXPECT_FALSE(use.reason.empty());
}

}  // namespace
}  // namespace kelm::test
