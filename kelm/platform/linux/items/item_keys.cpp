#include "kelm/platform/linux/items/item_keys.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "kelm/platform/file_attributes.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/items/item_attributes.h"
#include "kelm/platform/linux/files/system_call.h"
#include "kelm/platform/random.h"

namespace kelm::platform {

namespace {

Data contextOf(std::string_view protection) {
  return dataOf("class key " + std::string(protection));
}

std::int32_t statusOf(const Error& error) {
  switch (error.code) {
    case ENOSPC:
    case EDQUOT:
      return item_status::kDiskFull;
    case EROFS:
    case EACCES:
    case EPERM:
      return item_status::kReadOnly;
    default:
      return item_status::kInputOutput;
  }
}

bool copyKey(DataView bytes, SealKey& key) {
  if (bytes.size() != key.bytes.size()) return false;
  std::copy(bytes.begin(), bytes.end(), key.bytes.begin());
  return true;
}

}  // namespace

std::int32_t readKeyFile(const std::string& path, SealKey& key) {
  const Descriptor file(retried(
      [&] { return ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK); }));
  if (!file.isOpen())
    return errno == ENOENT ? item_status::kItemNotFound : item_status::kNotAvailable;
  struct stat status;
  if (::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_uid != ::geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0 ||
      status.st_size != static_cast<off_t>(key.bytes.size()))
    return item_status::kNotAvailable;
  const ssize_t size =
      retried([&] { return ::pread(file.number(), key.bytes.data(), key.bytes.size(), 0); });
  return size == static_cast<ssize_t>(key.bytes.size()) ? item_status::kSuccess
                                                        : item_status::kNotAvailable;
}

ItemKeys::ItemKeys(std::string path) : path_(std::move(path)) {}

std::int32_t ItemKeys::load(ItemDatabase& database) {
  forget();
  const std::int32_t status = readKeyFile(path_, master_);
  if (status != item_status::kItemNotFound) return status;
  ItemStatement query = database.statement("SELECT 1 FROM class_keys LIMIT 1");
  const int result = query.step();
  if (result == SQLITE_ROW) return item_status::kNotAvailable;
  return result == SQLITE_DONE ? make() : itemStatusOfSqlite(result);
}

std::int32_t ItemKeys::make() {
  if (!current<Random>()->fill(master_.bytes)) return item_status::kNotAvailable;
  if (const Failure failure = current<FileSystem>()->replaceFile(path_, master_.bytes))
    return statusOf(*failure);
  // A copy of the folder that holds both would need no further key; that it fails is no reason to
  // refuse.
  static_cast<void>(current<FileAttributes>()->setExcludedFromBackup(path_, true));
  return item_status::kSuccess;
}

std::int32_t ItemKeys::openSealed(std::int64_t number, std::string_view protection,
                                  DataView sealed) {
  std::optional<Data> bytes = Unsealer(master_).unseal(sealed, contextOf(protection));
  if (!bytes) return item_status::kDecode;
  SealKey key;
  const bool isKey = copyKey(*bytes, key);
  wipe(*bytes);
  if (!isKey) return item_status::kDecode;
  known_.insert_or_assign(number, ClassKey{key, Unsealer(key)});
  return item_status::kSuccess;
}

std::int32_t ItemKeys::keyOfClass(ItemDatabase& database, std::string_view protection,
                                  std::int64_t& number, SealKey& key) {
  {
    ItemStatement query =
        database.statement("SELECT id, sealed FROM class_keys WHERE protection = ?1");
    const int result = query.bind(1, protection).step();
    if (result == SQLITE_ROW) {
      number = query.number(0);
      if (!known_.contains(number)) {
        const std::int32_t status = openSealed(number, protection, query.bytes(1));
        if (status != item_status::kSuccess) return status;
      }
      key = known_.at(number).key;
      return item_status::kSuccess;
    }
    if (result != SQLITE_DONE) return itemStatusOfSqlite(result);
  }
  if (!current<Random>()->fill(key.bytes)) return item_status::kNotAvailable;
  const std::optional<Data> sealed = seal(master_, key.bytes, contextOf(protection));
  if (!sealed) return item_status::kNotAvailable;
  const int result = database.statement("INSERT INTO class_keys(protection, sealed) VALUES(?1, ?2)")
                         .bind(1, protection)
                         .bind(2, *sealed)
                         .run();
  number = database.lastRow();
  return itemStatusOfSqlite(result);
}

std::int32_t ItemKeys::read(ItemDatabase& database, std::int64_t number) {
  ItemStatement query =
      database.statement("SELECT protection, sealed FROM class_keys WHERE id = ?1");
  const int result = query.bind(1, number).step();
  if (result == SQLITE_DONE) return item_status::kDecode;
  if (result != SQLITE_ROW) return itemStatusOfSqlite(result);
  return openSealed(number, textOf(query.bytes(0)), query.bytes(1));
}

std::int32_t ItemKeys::unseal(ItemDatabase& database, std::int64_t number, DataView sealed,
                              DataView context, Data& secret) {
  auto known = known_.find(number);
  if (known == known_.end()) {
    if (const std::int32_t status = read(database, number)) return status;
    known = known_.find(number);
  }
  std::optional<Data> opened = known->second.unsealer.unseal(sealed, context);
  if (!opened) return item_status::kDecode;
  secret = *std::move(opened);
  return item_status::kSuccess;
}

std::int32_t ItemKeys::destroy(ItemDatabase& database, std::string_view protection) {
  forget();
  return itemStatusOfSqlite(
      database.statement("DELETE FROM class_keys WHERE protection = ?1").bind(1, protection).run());
}

}  // namespace kelm::platform
