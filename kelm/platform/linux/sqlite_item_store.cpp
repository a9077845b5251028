#include "kelm/platform/linux/sqlite_item_store.h"

#include <utility>
#include <vector>

#include "kelm/platform/clock.h"

namespace kelm::platform {

SqliteItemStore::SqliteItemStore(SqliteItemStoreParts parts) : parts_(std::move(parts)) {}

std::int32_t SqliteItemStore::read(const Dictionary& dictionary, ItemRequest& request) const {
  if (const std::int32_t status = readItemRequest(dictionary, request)) return status;
  return mayUseGroup(request, parts_.accessGroups) ? item_status::kSuccess
                                                   : item_status::kNoAccessForItem;
}

std::int32_t SqliteItemStore::prepare() {
  if (items_ && items_->hasMoved()) items_.reset();
  if (!items_) {
    auto items = std::make_unique<SealedItems>(parts_);
    if (const std::int32_t status = items->open()) return status;
    items_ = std::move(items);
  }
  if (!pending_) return item_status::kSuccess;
  const std::int32_t status = items_->apply(*pending_);
  if (status == item_status::kSuccess) pending_.reset();
  return status;
}

std::int32_t SqliteItemStore::with(const std::function<std::int32_t(SealedItems&)>& work) {
  std::int32_t status = prepare();
  if (status == item_status::kSuccess) status = work(*items_);
  if (status == item_status::kNotAvailable || status == item_status::kInputOutput) items_.reset();
  return status;
}

ItemAnswer SqliteItemStore::add(const Dictionary& dictionary) {
  ItemRequest request;
  if (const std::int32_t status = read(dictionary, request)) return {status, {}};
  StoredItem added;
  const Lock lock(mutex_);
  const std::int32_t status =
      with([&](SealedItems& items) { return items.add(request, parts_.clock->now(), added); });
  if (status != item_status::kSuccess) return {status, {}};
  return {status, answerOf(request, std::span(&added, 1))};
}

ItemAnswer SqliteItemStore::copyMatching(const Dictionary& dictionary) {
  ItemRequest query;
  if (const std::int32_t status = read(dictionary, query)) return {status, {}};
  std::vector<StoredItem> found;
  DeviceSecurity security;
  ItemAuthenticator authenticator;
  std::uint64_t reports = 0;
  {
    const Lock lock(mutex_);
    const std::int32_t status =
        with([&](SealedItems& items) { return items.find(query, found, security); });
    if (status != item_status::kSuccess) return {status, {}};
    authenticator = authenticator_;
    reports = reports_;
  }
  if (const std::int32_t status = authenticateFor(query, found, security, authenticator))
    return {status, {}};
  const Lock lock(mutex_);
  // Who was asked may not be who is asked for now.
  const bool stillHolds = reports == reports_ || !demandsUser(found);
  if (!stillHolds) return {item_status::kAuthenticationFailed, {}};
  return {item_status::kSuccess, answerOf(query, found)};
}

std::int32_t SqliteItemStore::remove(const Dictionary& dictionary) {
  ItemRequest query;
  if (const std::int32_t status = read(dictionary, query)) return status;
  const Lock lock(mutex_);
  return with([&](SealedItems& items) { return items.remove(query); });
}

std::int32_t SqliteItemStore::reportDeviceSecurity(const DeviceSecurity& security) {
  const Lock lock(mutex_);
  ++reports_;
  pending_ = security;
  return with([](SealedItems&) { return item_status::kSuccess; });
}

void SqliteItemStore::setAuthenticator(ItemAuthenticator authenticator) {
  const Lock lock(mutex_);
  authenticator_.swap(authenticator);
}

ItemStoreUse SqliteItemStore::use() const {
  return {"sqlite", parts_.folder + "/items.db",
          "Nothing needs to be installed or unlocked for it; the host chose no other store."};
}

std::shared_ptr<ItemStore> makeSqliteItemStore(SqliteItemStoreParts parts) {
  return std::make_shared<SqliteItemStore>(std::move(parts));
}

}  // namespace kelm::platform
