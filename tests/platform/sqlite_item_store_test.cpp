// What the item store in SQLite makes of files that somebody damaged, changed or took away.

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "kelm/testing/fixed_random.h"
#include "tests/platform/item_store_world.h"

namespace kelm::testing {
namespace {

using ::testing::AnyOf;

/// Reads a file as it is.
std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void overwrite(const std::string& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

TEST_F(SqliteItemStore, EveryFlippedBitIsRefusedAndTheItemCanBeReplaced) {
  const Dictionary item = with(
      password("anna"), {{std::string(kSecAttrGeneric), "pin"}, {std::string(kSecAttrCreator), 7}});
  ASSERT_EQ(store->add(withSecret(item, std::string(1100, 'k'))).status, 0);
  std::size_t refused = 0;
  RawDatabase raw(folder.database);
  const auto read = [&](const std::string& table, const std::string& column) {
    return raw.run("SELECT hex(" + column + ") FROM " + table + " WHERE id = 1");
  };
  const auto write = [&](const std::string& table, const std::string& column,
                         const std::string& hex) {
    raw.run("UPDATE " + table + " SET " + column + " = x'" + hex + "' WHERE id = 1");
  };
  const auto flip = [&](const std::string& table, const std::string& column, std::string hex,
                        std::size_t bit) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    hex[bit / 4] = kDigits[kDigits.find(hex[bit / 4]) ^ 1U << bit % 4];
    write(table, column, hex);
  };
  const auto flipAll = [&](const std::string& table, const std::string& column, bool reopens) {
    const std::string sound = read(table, column);
    for (std::size_t bit = 0; bit < 4 * sound.size(); ++bit, ++refused) {
      flip(table, column, sound, bit);
      if (reopens) reopen();
      ASSERT_EQ(secretIn(*store, kAnyPassword), "-26275") << table << '.' << column << ' ' << bit;
    }
    write(table, column, sound);
  };
  flipAll("items", "sealed", false);
  flipAll("items", "attributes", false);
  flipAll("class_keys", "sealed", true);
  EXPECT_GE(refused, 10000U);
  EXPECT_EQ(secretIn(*folder.open(), item), std::string(1100, 'k'));

  for (const char* column : {"sealed", "attributes", "identity"}) {
    flip("items", column, read("items", column), 40);
    EXPECT_NE(secretIn(*store, item).substr(0, 1), "k");
    EXPECT_THAT(store->remove(item), AnyOf(0, -25300));
    EXPECT_EQ(store->add(withSecret(item, "new")).status, 0) << column;
    EXPECT_EQ(secretIn(*store, item), "new");
    raw.run("DELETE FROM items WHERE id <> (SELECT max(id) FROM items); UPDATE items SET id = 1");
  }
}

TEST_F(SqliteItemStore, ItemThatWasMixedWithAnotherOrSpoiltIsRefusedAndTheOthersAreNot) {
  for (const char* account : {"anna", "bruno"})
    ASSERT_EQ(add(account, account), 0);
  const Dictionary carla = with(password("carla"), kSecAttrAccessible, kSecAttrAccessibleAlways);
  ASSERT_EQ(store->add(withSecret(carla, "carla")).status, 0);
  RawDatabase raw(folder.database);
  for (const std::string column : {"sealed", "attributes", "class_key"}) {
    raw.run("UPDATE items SET " + column + " = (SELECT " + column +
            " FROM items WHERE id = 3) WHERE id = 1");
    EXPECT_THAT(secretOf("anna"), AnyOf("-26275", "-25300")) << column;
    EXPECT_EQ(secretOf("bruno") + secretOf("carla"), "brunocarla");
  }
  raw.run("UPDATE items SET sealed = x'00' WHERE id = 1");
  const auto all =
      store->copyMatching(with(kAnyPassword, {{std::string(kSecMatchLimit), kSecMatchLimitAll},
                                              {std::string(kSecReturnData), true}}));
  EXPECT_EQ(all.result, Value(List{dataOf("bruno"), dataOf("carla")}));
}

TEST_F(SqliteItemStore, SecretsAndKeysStandNowhereInTheFiles) {
  ASSERT_EQ(add("anna"), 0);
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

TEST_F(SqliteItemStore, KeyFileThatOthersCouldHaveReadOrMadeIsRefusedAndKept) {
  ASSERT_EQ(add("anna"), 0);
  const std::string key = contentOf(folder.keyFile);
  ASSERT_EQ(key.size(), 32U);
  const char* const path = folder.keyFile.c_str();
  const auto insteadOf = [&](const std::function<void()>& make) {
    return [this, make] {
      std::filesystem::remove(folder.keyFile);
      make();
    };
  };
  const auto linkToKey = [&] {
    overwrite(folder.root / "other", key);
    ::chmod((folder.root / "other").c_str(), 0600);
    std::filesystem::create_symlink(folder.root / "other", folder.keyFile);
  };
  struct Row {
    const char* what;
    std::function<void()> change;
    std::string answer = "-25291";
  };
  const Row rows[] = {
      {"group may read", [&] { ::chmod(path, 0640); }},
      {"cut", [&] { overwrite(path, key.substr(1)); }},
      {"longer", [&] { overwrite(path, key + "x"); }},
      {"missing", insteadOf([] {})},
      {"pipe", insteadOf([&] { ::mkfifo(path, 0600); })},
      {"link", insteadOf(linkToKey)},
      {"another key", [&] { overwrite(path, std::string(32, 'x')); }, "-26275"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    row.change();
    reopen();
    EXPECT_EQ(secretOf("anna"), row.answer);
    EXPECT_EQ(std::to_string(add("bruno")), row.answer);
    std::filesystem::remove_all(folder.keyFile);
    overwrite(folder.keyFile, key);
    ::chmod(path, 0600);
    EXPECT_EQ(storedSecretOf("anna"), kPassword);
  }
  if (::geteuid() != 0) GTEST_SKIP() << "SKIPPED: only root can give the key file away";
  ASSERT_EQ(::chown(path, 65534, 65534), 0);
  EXPECT_EQ(storedSecretOf("anna"), "-25291");
}

TEST_F(SqliteItemStore, DatabaseThatIsCutForeignOrOfALaterVersionIsRefusedAndUntouched) {
  ASSERT_EQ(add("anna"), 0);
  store.reset();
  const std::string sound = contentOf(folder.database);
  int intact = 0;  // of the last pages some are not in use yet
  for (std::size_t size = 1; size < sound.size(); size += size < 200 ? 33 : 1021) {
    overwrite(folder.database, std::string_view(sound).substr(0, size));
    reopen();
    const std::string secret = secretOf("anna");
    EXPECT_THAT(secret, AnyOf(kPassword, ::testing::StartsWith("-"))) << size;
    intact += secret == kPassword ? 1 : 0;
    store->remove(password("anna"));
    store->reportDeviceSecurity({true, {}});
  }
  EXPECT_LT(intact, 10);
  for (const std::string& content : {std::string("SQLite"), std::string(5000, 'x')}) {
    overwrite(folder.database, content);
    reopen();
    EXPECT_EQ(secretOf("anna"), "-25291");
    EXPECT_EQ(add("bruno"), -25291);
    EXPECT_EQ(contentOf(folder.database), content);
  }
  overwrite(folder.database, sound);
  RawDatabase(folder.database).run("PRAGMA user_version = 2");
  reopen();
  EXPECT_EQ(secretOf("anna"), "-25291");
  EXPECT_EQ(store->remove(password("anna")), -25291);
  RawDatabase(folder.database).run("PRAGMA user_version = 1");
  EXPECT_EQ(storedSecretOf("anna"), kPassword);
}

TEST_F(SqliteItemStore, DatabaseThatIsTakenAwayIsMissedAtTheNextCall) {
  ASSERT_EQ(add("anna", "old"), 0);
  std::filesystem::remove_all(folder.folder);
  EXPECT_EQ(secretOf("anna"), "-25300");
  EXPECT_EQ(add("anna", "new"), 0);
  EXPECT_EQ(storedSecretOf("anna"), "new");
}

TEST_F(SqliteItemStore, ForeignAccessGroupsHaveNoAccess) {
  folder.options.accessGroups = {"A1.tills"};
  reopen();
  const auto inGroup = [](const char* group) {
    return with(password("anna"), kSecAttrAccessGroup, group);
  };
  for (const char* group : {"", "A1.tills"})
    EXPECT_EQ(store->add(inGroup(group)).status, 0) << group;
  EXPECT_EQ(store->add(inGroup("A1.safes")).status, -25243);
  EXPECT_EQ(secretIn(*store, inGroup("A1.safes")), "-25243");
  EXPECT_EQ(store->remove(inGroup("A1.safes")), -25243);
}

TEST_F(SqliteItemStore, WithoutRandomnessNothingIsAdded) {
  const auto random = std::make_shared<FixedRandom>();
  const platform::ScopedService<platform::Random> scope(random);
  reopen();
  for (const bool refuses : {true, false, true}) {
    random->setRefuses(refuses);
    EXPECT_EQ(add(refuses ? "bruno" : "anna"), refuses ? -25291 : 0);
  }
  EXPECT_EQ(secretOf("bruno"), "-25300");
  EXPECT_EQ(secretOf("anna"), kPassword);
}

}  // namespace
}  // namespace kelm::testing
