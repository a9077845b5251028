#include "kelm/storage/kelm_data_store_handler.h"

#include <tuple>

#include "tests/storage/storage_fixture.h"
#include "tests/support/account_record.h"
#include "tests/support/every_fault.h"

namespace kelm::testing {
namespace {

using ::testing::IsEmpty;
using Store = KelmDataStoreHandler;

struct StoreFixture : StorageFixture {
  std::optional<std::string> read(std::string_view name) {
    return Store::readNSStringOnFilename_andFolders(name, std::nullopt);
  }
  bool has(const std::string& path) const { return files.exists(path); }
};

TEST(KelmDataStoreHandler, RecordPathJoinsFoldersAndName) {
  using Row = std::tuple<const char*, std::optional<std::string_view>, const char*>;
  for (const auto& [name, folders, path] :
       {Row{"A", std::nullopt, "A"}, Row{"A", "", "A"}, Row{"/A", "x", "x/A"}, Row{"", "x", "x"},
        Row{"A", "a//b/", "a/b/A"}, Row{"A", "/", "A"}, Row{"x//A", "", "x//A"},
        Row{"A", "/x/../", "x/../A"}})
    EXPECT_EQ(Store::getFilepathFromName_andFolders(name, folders), path);
}

TEST(KelmDataStoreHandler, RecordIsTheBareCiphertextUnderLibraryKelm) {
  StoreFixture f;
  // What `openssl enc -aes-128-cbc` makes of "account 1" with the records' key and vector.
  const Data ciphertext = {0xa3, 0x6d, 0x04, 0xd8, 0xee, 0x08, 0xf7, 0xa4,
                           0x5b, 0x6d, 0x9d, 0x4b, 0x48, 0xbb, 0x49, 0x9b};
  EXPECT_EQ(Store::encriptedNSDataFromNSString("account 1"), ciphertext);
  EXPECT_EQ(Store::encriptedNSDataFromNSString(std::nullopt), std::nullopt);
  f.put("/home/till/Library/kelm/x/y/A.sav", textOf(ciphertext));
  EXPECT_EQ(Store::objectForAccount("x/y/A"), ciphertext);
  EXPECT_EQ(Store::readNSStringOnFilename_andFolders("A", "/x/y/"), "account 1");
  EXPECT_EQ(f.read("A"), std::nullopt);
  EXPECT_TRUE(f.attributes.isExcludedFromBackup(accountRecordPath("x/y/A")));
  EXPECT_FALSE(Store::objectForAccount(std::nullopt));
}

TEST(KelmDataStoreHandler, OnlyTheCurrentRecordCountsAndNoLegacyCopySurvivesARead) {
  const struct {
    std::optional<std::string> current, legacy;
  } kRows[] = {{"new", "old"}, {"new", {}}, {{}, "old"}, {"", "old"}, {"new", ""}, {{}, {}}};
  for (const auto& row : kRows) {
    StoreFixture f;
    if (row.current) makeAccountRecord("x/A", *row.current);
    if (row.legacy) makeLegacyAccountRecord("x/A", *row.legacy);
    makeLegacyAccountRecord("B", "of another account");
    for (int time = 0; time < 2; ++time) {
      EXPECT_EQ(f.read("x/A"), row.current);
      EXPECT_FALSE(f.has(legacyAccountRecordPath("x/A")));
      EXPECT_EQ(f.has(accountRecordPath("x/A")), row.current.has_value());
    }
    EXPECT_TRUE(f.has(legacyAccountRecordPath("B")));
    EXPECT_THAT(f.log.lines(), IsEmpty());
  }
}

TEST(KelmDataStoreHandler, RecordsThatCannotBeDecryptedOrAreNoTextReadAsNothing) {
  StoreFixture f;
  for (const Data& bytes : {Data(), Data(15), Data(16), dataOf("plain text, 17 by"),
                            *Store::cryptoExpert().encrypt(bytesOf("\xC3\x28"))}) {
    f.put(accountRecordPath("A"), textOf(bytes));
    EXPECT_EQ(Store::objectForAccount("A"), bytes);
    EXPECT_EQ(f.read("A"), std::nullopt) << bytes.size();
  }
  EXPECT_EQ(Store::decriptedNSStringFromNSData(std::nullopt), std::nullopt);
}

TEST(KelmDataStoreHandler, RemovingTakesTheRecordLeavesTheLegacyOneAndIsAlwaysTrue) {
  StoreFixture f;
  for (const char* account : {"A", "x/A", "folder.sav/B"}) {
    makeAccountRecord(account, "text");
    makeLegacyAccountRecord(account, "text");
  }
  for (const char* account : {"A", "A", "folder"})
    EXPECT_TRUE(Store::whipeObjectForAccount(account));
  Store::removeFilename_andFolders("A", "/x");
  for (const char* account : {"A", "x/A", "folder"}) {
    EXPECT_EQ(f.has(accountRecordPath(account)), account == std::string_view("folder"));
    EXPECT_TRUE(f.has(legacyAccountRecordPath(account)));
  }
}

TEST(KelmDataStoreHandler, AccountsThatLeadOutOfTheFolderTouchNoFile) {
  StoreFixture f;
  const std::uint64_t before = f.files.calls() + f.attributes.calls();
  const std::string_view kAccounts[] = {"",     "..", "../x", "a/../../x", "a/..",
                                        "/r/x", "/",  "a//b", "a/",        {"a\0b", 3}};
  for (const std::string_view account : kAccounts) {
    EXPECT_EQ(Store::objectForAccount(account), std::nullopt) << account;
    EXPECT_EQ(f.read(account), std::nullopt) << account;
    EXPECT_TRUE(Store::whipeObjectForAccount(account)) << account;
    Store::removeFilename_andFolders(account, std::nullopt);
    Store::removeFilename_andFolders("x", "../");
  }
  EXPECT_TRUE(Store::whipeObjectForAccount(std::nullopt));
  EXPECT_EQ(f.files.calls() + f.attributes.calls(), before);
  makeAccountRecord("a..b", "stays inside");
  EXPECT_EQ(f.read("a..b"), "stays inside");
}

TEST(KelmDataStoreHandler, CopyReplacesTheDestinationAndNeverItself) {
  StoreFixture f;
  f.put("/r/new", "new");
  f.put("/r/old", "old");
  Store::innerCopyToPath_contentOfPath("/r/old", "/r/new");
  EXPECT_EQ(f.text("/r/old"), "new");
  Store::innerCopyToPath_contentOfPath("/r/./old", "/r//old");
  Store::innerCopyToPath_contentOfPath("/r", "/r/old");
  EXPECT_EQ(f.text("/r/old"), "new");
  Store::innerCopyToPath_contentOfPath("/r/old", "/r/none");
  EXPECT_FALSE(f.has("/r/old"));
}

TEST(KelmDataStoreHandler, FaultsAtEveryStepLoseNoCurrentRecord) {
  // Read both; compare, copy, remove, copy; remove. Then one attribute.
  forEveryFault([](const Fault& fault) {
    StoreFixture f;
    makeAccountRecord("A", "current");
    makeLegacyAccountRecord("A", "legacy");
    std::optional<std::string> text;
    const bool reached = fault.during(f.services, [&] { text = f.read("A"); });
    const bool unread =
        !fault.ofAttributes && (fault.number == 2 || (fault.forEver && fault.number == 1));
    EXPECT_EQ(text, unread ? std::nullopt : std::optional<std::string>("current"));
    // A legacy copy that could not be read or removed is still there; the next read takes it.
    const bool mayStay = !fault.ofAttributes && (fault.forEver || fault.number % 6 == 1);
    EXPECT_TRUE(mayStay || !f.has(legacyAccountRecordPath("A")));
    EXPECT_EQ(f.read("A"), "current");
    EXPECT_FALSE(f.has(legacyAccountRecordPath("A")));
    EXPECT_THAT(f.log.lines(), IsEmpty());
    EXPECT_TRUE(reached || fault.number >= (fault.ofAttributes ? 2U : 8U));
    return reached;
  });
}

}  // namespace
}  // namespace kelm::testing
