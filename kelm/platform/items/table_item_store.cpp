#include "kelm/platform/items/table_item_store.h"

#include <span>
#include <utility>

#include "kelm/platform/clock.h"

namespace kelm::platform {

TableItemStore::TableItemStore(std::function<std::unique_ptr<ItemTable>()> makeTable,
                               AccessGroups accessGroups, std::function<ItemStoreUse()> use)
    : makeTable_(std::move(makeTable)),
      accessGroups_(std::move(accessGroups)),
      use_(std::move(use)) {}

std::int32_t TableItemStore::read(const Dictionary& dictionary, ItemRequest& request) const {
  if (const std::int32_t status = readItemRequest(dictionary, request)) return status;
  return mayUseGroup(request, accessGroups_) ? item_status::kSuccess
                                             : item_status::kNoAccessForItem;
}

std::int32_t TableItemStore::prepare(ItemUse use) {
  if (table_ && table_->isStale(use)) table_.reset();
  if (!table_) {
    std::unique_ptr<ItemTable> table = makeTable_();
    if (const std::int32_t status = table->open()) return status;
    table_ = std::move(table);
  }
  if (!pending_) return item_status::kSuccess;
  const std::int32_t status = table_->apply(*pending_);
  if (status == item_status::kSuccess) pending_.reset();
  return status;
}

template <class Work>
std::int32_t TableItemStore::with(ItemUse use, const Work& work) {
  std::int32_t status = prepare(use);
  if (status == item_status::kSuccess) status = work(*table_);
  if (status == item_status::kNotAvailable || status == item_status::kInputOutput) table_.reset();
  return status;
}

std::int32_t TableItemStore::open() {
  const Lock lock(mutex_);
  return prepare(ItemUse::Change);
}

ItemAnswer TableItemStore::add(const Dictionary& dictionary) {
  ItemRequest request;
  if (const std::int32_t status = read(dictionary, request)) return {status, {}};
  StoredItem added;
  const Lock lock(mutex_);
  const std::int32_t status = with(ItemUse::Change, [&](ItemTable& table) {
    return table.add(request, current<Clock>()->now(), added);
  });
  if (status != item_status::kSuccess) return {status, {}};
  return {status, answerOf(request, std::span(&added, 1))};
}

ItemAnswer TableItemStore::copyMatching(const Dictionary& dictionary) {
  ItemRequest query;
  if (const std::int32_t status = read(dictionary, query)) return {status, {}};
  std::vector<StoredItem> found;
  DeviceSecurity security;
  ItemAuthenticator authenticator;
  std::uint64_t reports = 0;
  {
    const Lock lock(mutex_);
    const std::int32_t status =
        with(ItemUse::Read, [&](ItemTable& table) { return table.find(query, found, security); });
    if (status != item_status::kSuccess) return {status, {}};
    if (!demandsUser(found)) return {status, answerOf(query, found)};
    authenticator = authenticator_;
    reports = reports_;
  }
  if (const std::int32_t status = authenticateFor(query, found, security, authenticator))
    return {status, {}};
  const Lock lock(mutex_);
  // Who was asked may not be who is asked for now.
  if (reports != reports_) return {item_status::kAuthenticationFailed, {}};
  return {item_status::kSuccess, answerOf(query, found)};
}

std::int32_t TableItemStore::remove(const Dictionary& dictionary) {
  ItemRequest query;
  if (const std::int32_t status = read(dictionary, query)) return status;
  const Lock lock(mutex_);
  return with(ItemUse::Change, [&](ItemTable& table) { return table.remove(query); });
}

std::int32_t TableItemStore::reportDeviceSecurity(const DeviceSecurity& security) {
  const Lock lock(mutex_);
  ++reports_;
  pending_ = security;
  return with(ItemUse::Change, [](ItemTable&) { return item_status::kSuccess; });
}

void TableItemStore::setAuthenticator(ItemAuthenticator authenticator) {
  const Lock lock(mutex_);
  authenticator_.swap(authenticator);
}

}  // namespace kelm::platform
