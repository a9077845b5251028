#include "kelm/platform/linux/items/sealed_items.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "kelm/base/wipe.h"
#include "kelm/platform/file_system.h"
#include "kelm/platform/home_folders.h"

namespace kelm::platform {

namespace {

constexpr std::string_view kSecurityContext = "device security";

/// Sets what the tag of a secret covers beside it.
void setCovered(Data& covered, std::string_view itemClass, DataView attributes) {
  covered.clear();
  append(covered, itemClass);
  covered.push_back(0);
  append(covered, attributes);
}

Data referenceOf(std::int64_t row) {
  Data reference;
  reference.reserve(sizeof row);
  for (int shift = 56; shift >= 0; shift -= 8)
    reference.push_back(static_cast<std::uint8_t>(row >> shift));
  return reference;
}

/// The least bytes above all that begin with `prefix`.
Data endOfPrefix(DataView prefix) {
  Data end(prefix.begin(), prefix.end());
  while (!end.empty() && end.back() == 0xff)
    end.pop_back();
  if (end.empty()) return {0xff};  // identities begin with the kind of a value
  ++end.back();
  return end;
}

std::string folderOf(const SqliteItemStoreOptions& options) {
  return options.folder.empty() ? current<HomeFolders>()->home() + "/Keychain" : options.folder;
}

}  // namespace

SealedItems::SealedItems(const SqliteItemStoreOptions& options)
    : folder_(folderOf(options)),
      database_(folder_ + "/items.db", options.vfs, options.patienceMilliseconds),
      keys_(folder_ + "/master.key"),
      isOfHome_(options.folder.empty()) {}

std::shared_ptr<ItemStore> makeSqliteItemStore(SqliteItemStoreOptions options) {
  const TableItemStore::AccessGroups groups = options.accessGroups;
  const auto use = [options] {
    return ItemStoreUse{"sqlite", folderOf(options) + "/items.db",
                        "Nothing needs to be installed or unlocked for it; the host chose no other "
                        "store."};
  };
  return std::make_shared<TableItemStore>(
      [options = std::move(options)] { return std::make_unique<SealedItems>(options); }, groups,
      use);
}

std::shared_ptr<ItemStore> ItemStore::makeSystem() { return makeSqliteItemStore({}); }

bool SealedItems::isStale(ItemUse use) const {
  if (isOfHome_ && folder_ != folderOf({})) return true;
  return use == ItemUse::Read ? database_.isRemoved() : database_.hasMoved();
}

std::int32_t SealedItems::open() {
  if (const Failure failure = current<FileSystem>()->createDirectories(folder_))
    return failure->code == ENOSPC ? item_status::kDiskFull : item_status::kNotAvailable;
  if (const int error = database_.open()) return itemStatusOfSqlite(error);
  ItemTransaction transaction(database_);
  if (const int error = transaction.begin()) return itemStatusOfSqlite(error);
  if (const std::int32_t status = keys_.load(database_)) return status;
  return itemStatusOfSqlite(transaction.keep());
}

std::int32_t SealedItems::add(const ItemRequest& request, Date now, StoredItem& added) {
  ItemTransaction transaction(database_);
  if (const int error = transaction.begin()) return itemStatusOfSqlite(error);
  DeviceSecurity security;
  if (const std::int32_t status = readSecurity(security)) return status;
  added = itemOf(request, security, now);
  if (const std::int32_t status = statusOfAdding(added, security)) return status;
  if (const std::int32_t status = insert(added)) return status;
  return itemStatusOfSqlite(transaction.keep());
}

std::int32_t SealedItems::insert(StoredItem& item) {
  const std::optional<Data> attributes = encodeItem(item);
  if (!attributes) return item_status::kParameter;
  const Data identity = identityOf(item);
  std::int64_t number = 0;
  SealKey key;
  const Value* protection = item.attributes.find(kSecAttrAccessible);
  if (const std::int32_t status =
          keys_.keyOfClass(database_, protection->text().value_or(""), number, key))
    return status;
  setCovered(covered_, item.itemClass, *attributes);
  const std::optional<Data> sealed = seal(key, item.secret, covered_);
  if (!sealed) return item_status::kNotAvailable;
  const auto insertRow = [&] {
    return itemStatusOfSqlite(
        database_
            .statement("INSERT INTO items(class, identity, class_key, attributes, sealed)"
                       " VALUES(?1, ?2, ?3, ?4, ?5)")
            .bind(1, item.itemClass)
            .bind(2, identity)
            .bind(3, number)
            .bind(4, *attributes)
            .bind(5, *sealed)
            .run());
  };
  std::int32_t status = insertRow();
  if (status == item_status::kDuplicateItem) {
    status = removeDamagedTwin(item, identity);
    if (status == item_status::kSuccess) status = insertRow();
  }
  item.persistentReference = referenceOf(database_.lastRow());
  return status;
}

/// Makes room where a row that nobody can read any more, nor find to remove, has the identity of a
/// new item. `kDuplicateItem` when the row is sound.
std::int32_t SealedItems::removeDamagedTwin(const StoredItem& item, DataView identity) {
  std::vector<std::int64_t> rows;
  std::int32_t opened = item_status::kDecode;
  const std::int32_t status =
      eachRow(item.itemClass, identity, [&](const Row& row, StoredItem& twin) {
        rows.push_back(row.columns.number(0));
        if (!row.isReadable) return false;
        row.encoded.copyAttributes(twin);
        if (identityOf(twin) == Data(identity.begin(), identity.end()))
          opened = unsealInto(twin, row);
        return false;
      });
  if (status != item_status::kSuccess) return status;
  if (opened == item_status::kSuccess) return item_status::kDuplicateItem;
  return opened == item_status::kDecode ? removeRows(rows) : opened;
}

std::int32_t SealedItems::eachRow(std::string_view itemClass, DataView prefix,
                                  const TakeRow& take) {
  const Data end = endOfPrefix(prefix);
  ItemStatement columns = database_.statement(
      "SELECT id, class_key, attributes, sealed FROM items"
      " WHERE class = ?1 AND identity >= ?2 AND identity < ?3");
  columns.bind(1, itemClass).bind(2, prefix).bind(3, end);
  int result = columns.step();
  for (; result == SQLITE_ROW; result = columns.step()) {
    StoredItem item;
    item.itemClass = itemClass;
    item.persistentReference = referenceOf(columns.number(0));
    Row row = {columns, {}, false};
    row.isReadable = row.encoded.read(columns.bytes(2), item);
    if (!take(row, item)) return item_status::kSuccess;
  }
  return itemStatusOfSqlite(result);
}

bool SealedItems::finds(const ItemRequest& query, const Row& row, const StoredItem& item) {
  return matches(query, item, [&](std::string_view key, const Value* value) {
    return row.encoded.has(key, value);
  });
}

std::int32_t SealedItems::unsealInto(StoredItem& item, const Row& row) {
  setCovered(covered_, item.itemClass, row.columns.bytes(2));
  return keys_.unseal(database_, row.columns.number(1), row.columns.bytes(3), covered_,
                      item.secret);
}

std::int32_t SealedItems::find(const ItemRequest& query, std::vector<StoredItem>& items,
                               DeviceSecurity& security) {
  std::int32_t whyNone = item_status::kItemNotFound;
  std::int32_t failure = item_status::kSuccess;
  const auto takeMatching = [&](const Row& row, StoredItem& item) {
    const bool isFull = !query.wantsAll && !items.empty();
    if (isFull && items.front().persistentReference < item.persistentReference) return;
    const std::int32_t opened = unsealInto(item, row);
    if (query.wantsAttributes) row.encoded.copyAttributes(item);
    if (opened == item_status::kDecode)
      whyNone = opened;
    else if (opened != item_status::kSuccess)
      failure = opened;
    else if (isFull)
      std::swap(items.front(), item);  // which wipes the other one
    else
      items.push_back(std::move(item));
  };
  const std::int32_t status =
      eachRow(query.itemClass, identityPrefixOf(query), [&](const Row& row, StoredItem& item) {
        if (!row.isReadable)
          whyNone = item_status::kDecode;
        else if (finds(query, row, item))
          takeMatching(row, item);
        return failure == item_status::kSuccess;
      });
  if (status != item_status::kSuccess) return status;
  if (failure != item_status::kSuccess) return failure;
  if (items.empty()) return whyNone;
  std::ranges::sort(items, {}, &StoredItem::persistentReference);  // the oldest item first
  return demandsUser(items) ? readSecurity(security) : item_status::kSuccess;
}

std::int32_t SealedItems::remove(const ItemRequest& query) {
  ItemTransaction transaction(database_);
  if (const int error = transaction.begin()) return itemStatusOfSqlite(error);
  const Data prefix = identityPrefixOf(query);
  std::vector<std::int64_t> rows;
  const std::int32_t status =
      eachRow(query.itemClass, prefix, [&](const Row& row, const StoredItem& item) {
        // A damaged row goes with those that its look-up bytes put it beside.
        if (row.isReadable ? finds(query, row, item) : !prefix.empty())
          rows.push_back(row.columns.number(0));
        return true;
      });
  if (status != item_status::kSuccess) return status;
  if (rows.empty()) return item_status::kItemNotFound;
  if (const std::int32_t removed = removeRows(rows)) return removed;
  return itemStatusOfSqlite(transaction.keep());
}

std::int32_t SealedItems::removeRows(const std::vector<std::int64_t>& rows) {
  for (const std::int64_t row : rows)
    if (const int error = database_.statement("DELETE FROM items WHERE id = ?1").bind(1, row).run())
      return itemStatusOfSqlite(error);
  return item_status::kSuccess;
}

std::int32_t SealedItems::apply(const DeviceSecurity& security) {
  ItemTransaction transaction(database_);
  if (const int error = transaction.begin()) return itemStatusOfSqlite(error);
  DeviceSecurity earlier;
  const std::int32_t status = readSecurity(earlier);
  if (status != item_status::kSuccess && status != item_status::kDecode) return status;
  if (status == item_status::kSuccess && earlier == security) return item_status::kSuccess;
  if (const std::int32_t removed = removeInvalidated(security)) return removed;
  if (const std::int32_t written = writeSecurity(security)) return written;
  if (const int error = transaction.keep()) return itemStatusOfSqlite(error);
  // What was removed leaves the journal too. Readers in other processes may keep it for a while.
  database_.run("PRAGMA wal_checkpoint(TRUNCATE)");
  return item_status::kSuccess;
}

std::int32_t SealedItems::removeInvalidated(const DeviceSecurity& security) {
  std::vector<std::int64_t> rows;
  for (const std::string_view itemClass : {kSecClassGenericPassword, kSecClassInternetPassword,
                                           kSecClassCertificate, kSecClassKey, kSecClassIdentity}) {
    const std::int32_t status = eachRow(itemClass, {}, [&](const Row& row, StoredItem& item) {
      row.encoded.copyAttributes(item);
      if (isInvalidated(item, security)) rows.push_back(row.columns.number(0));
      return true;
    });
    if (status != item_status::kSuccess) return status;
  }
  if (const std::int32_t status = removeRows(rows)) return status;
  return security.isPasscodeSet
             ? item_status::kSuccess
             : keys_.destroy(database_, kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly);
}

std::int32_t SealedItems::readSecurity(DeviceSecurity& security) {
  security = DeviceSecurity();
  ItemStatement query = database_.statement("SELECT sealed FROM device WHERE id = 1");
  const int result = query.step();
  if (result != SQLITE_ROW) return itemStatusOfSqlite(result);
  std::optional<Data> bytes =
      Unsealer(keys_.master()).unseal(query.bytes(0), bytesOf(kSecurityContext));
  if (!bytes) return item_status::kDecode;
  const bool isSound = decodeSecurity(*bytes, security);
  wipe(*bytes);
  return isSound ? item_status::kSuccess : item_status::kDecode;
}

std::int32_t SealedItems::writeSecurity(const DeviceSecurity& security) {
  const std::optional<Data> sealed =
      seal(keys_.master(), encodeSecurity(security), bytesOf(kSecurityContext));
  if (!sealed) return item_status::kNotAvailable;
  return itemStatusOfSqlite(
      database_.statement("INSERT OR REPLACE INTO device(id, sealed) VALUES(1, ?1)")
          .bind(1, *sealed)
          .run());
}

}  // namespace kelm::platform
