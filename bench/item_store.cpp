// link: kelm_linux_items SQLite::SQLite3
// Reading and adding an item of 32 bytes beside SQLite and AES-256-GCM alone: one table with the
// same journal and the same syncs, kept statements, the key at hand. 200 items are there.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "kelm/platform/items/item_store.h"
#include "kelm/platform/linux/items/services.h"

namespace {

namespace fs = std::filesystem;
using kelm::Data;
using kelm::DataView;
using kelm::Dictionary;

constexpr int kResident = 200;
constexpr int kNonceBytes = 12;
constexpr int kTagBytes = 16;
const std::string kService = "kelm_service";
const Data kSecret(32, 0x5a);

void orAbort(bool holds) {
  if (!holds) std::abort();
}

std::string accountOf(int number) { return "kelm_account_key" + std::to_string(number); }

/// A folder of its own for each store, on the disk of the temporary folder.
class Folder {
 public:
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "kelm-bench-XXXXXX").string();
    orAbort(mkdtemp(pattern.data()) != nullptr);
    path_ = pattern;
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class Ours {
 public:
  Ours() {
    kelm::platform::SqliteItemStoreOptions options;
    options.folder = folder_.path() + "/store";
    store_ = kelm::platform::makeSqliteItemStore(std::move(options));
  }

  void add(int number) {
    Dictionary item = named(number);
    item.set(kelm::kSecAttrAccessible, kelm::kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);
    item.set(kelm::kSecValueData, kSecret);
    orAbort(store_->add(item).status == kelm::item_status::kSuccess);
  }
  Data read(int number) {
    Dictionary query = named(number);
    query.set(kelm::kSecReturnData, true);
    const auto answer = store_->copyMatching(query);
    orAbort(answer.status == kelm::item_status::kSuccess);
    return *answer.result.get<Data>();
  }

 private:
  static Dictionary named(int number) {
    Dictionary item;
    item.set(kelm::kSecClass, kelm::kSecClassGenericPassword);
    item.set(kelm::kSecAttrService, kService);
    item.set(kelm::kSecAttrAccount, accountOf(number));
    return item;
  }

  Folder folder_;
  std::shared_ptr<kelm::platform::ItemStore> store_;
};

class Bare {
 public:
  Bare() {
    orAbort(sqlite3_open((folder_.path() + "/bare.db").c_str(), &database_) == SQLITE_OK);
    run("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
        "CREATE TABLE items(class TEXT, service TEXT, account TEXT, value BLOB,"
        " PRIMARY KEY(class, service, account))");
    insert_ = prepare("INSERT INTO items VALUES('genp', ?1, ?2, ?3)");
    select_ = prepare("SELECT value FROM items WHERE class='genp' AND service=?1 AND account=?2");
    orAbort(RAND_bytes(key_.data(), static_cast<int>(key_.size())) == 1);
  }
  ~Bare() {
    sqlite3_finalize(insert_);
    sqlite3_finalize(select_);
    sqlite3_close(database_);
    EVP_CIPHER_free(cipher_);
  }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  void add(int number) {
    const std::string account = accountOf(number);
    const Data value = sealed(kSecret, account);
    bindNames(insert_, account);
    sqlite3_bind_blob(insert_, 3, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
    orAbort(sqlite3_step(insert_) == SQLITE_DONE);
    sqlite3_reset(insert_);
  }
  Data read(int number) {
    const std::string account = accountOf(number);
    bindNames(select_, account);
    orAbort(sqlite3_step(select_) == SQLITE_ROW);
    const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(select_, 0));
    Data secret =
        opened({bytes, static_cast<std::size_t>(sqlite3_column_bytes(select_, 0))}, account);
    sqlite3_reset(select_);
    return secret;
  }

 private:
  void run(const char* sql) {
    orAbort(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK);
  }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    orAbort(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr) == SQLITE_OK);
    return statement;
  }
  static void bindNames(sqlite3_stmt* statement, const std::string& account) {
    sqlite3_bind_text(statement, 1, kService.data(), static_cast<int>(kService.size()),
                      SQLITE_STATIC);
    sqlite3_bind_text(statement, 2, account.data(), static_cast<int>(account.size()),
                      SQLITE_STATIC);
  }

  Data sealed(const Data& secret, const std::string& context) {
    Data value(kNonceBytes + secret.size() + kTagBytes);
    orAbort(RAND_bytes(value.data(), kNonceBytes) == 1);
    EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
    int size = 0;
    orAbort(EVP_EncryptInit_ex2(cipher, cipher_, key_.data(), value.data(), nullptr) == 1 &&
            EVP_EncryptUpdate(cipher, nullptr, &size, bytesOf(context), sizeOf(context)) == 1 &&
            EVP_EncryptUpdate(cipher, value.data() + kNonceBytes, &size, secret.data(),
                              static_cast<int>(secret.size())) == 1);
    unsigned char* const tag = value.data() + kNonceBytes + size;
    orAbort(EVP_EncryptFinal_ex(cipher, tag, &size) == 1 &&
            EVP_CIPHER_CTX_ctrl(cipher, EVP_CTRL_GCM_GET_TAG, kTagBytes, tag) == 1);
    EVP_CIPHER_CTX_free(cipher);
    return value;
  }
  Data opened(DataView value, const std::string& context) {
    Data secret(value.size() - kNonceBytes - kTagBytes);
    Data tag(value.end() - kTagBytes, value.end());
    EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
    int size = 0;
    orAbort(EVP_DecryptInit_ex2(cipher, cipher_, key_.data(), value.data(), nullptr) == 1 &&
            EVP_DecryptUpdate(cipher, nullptr, &size, bytesOf(context), sizeOf(context)) == 1 &&
            EVP_DecryptUpdate(cipher, secret.data(), &size, value.data() + kNonceBytes,
                              static_cast<int>(secret.size())) == 1 &&
            EVP_CIPHER_CTX_ctrl(cipher, EVP_CTRL_GCM_SET_TAG, kTagBytes, tag.data()) == 1 &&
            EVP_DecryptFinal_ex(cipher, secret.data() + size, &size) == 1);
    EVP_CIPHER_CTX_free(cipher);
    return secret;
  }
  static const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
  }
  static int sizeOf(const std::string& text) { return static_cast<int>(text.size()); }

  Folder folder_;
  sqlite3* database_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  sqlite3_stmt* select_ = nullptr;
  EVP_CIPHER* cipher_ = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
  std::array<unsigned char, 32> key_{};
};

template <class Store>
void fill(Store& store) {
  for (int number = 0; number < kResident; ++number)
    store.add(number);
}

template <class Store>
void readItems(benchmark::State& state) {
  Store store;
  fill(store);
  int number = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(store.read(number++ % kResident));
}

template <class Store>
void addItems(benchmark::State& state) {
  Store store;
  fill(store);
  int number = kResident;
  for (auto _ : state)
    store.add(number++);
}

BENCHMARK(readItems<Ours>)->Name("item_store_read/kelm");
BENCHMARK(readItems<Bare>)->Name("item_store_read/peer");
// Adding waits for the disk, so the time counts.
BENCHMARK(addItems<Ours>)->Name("item_store_add/kelm")->UseRealTime();
BENCHMARK(addItems<Bare>)->Name("item_store_add/peer")->UseRealTime();

}  // namespace
