#include "kelm/testing/memory_item_store.h"

#include <algorithm>
#include <span>
#include <utility>

namespace kelm::testing {

using platform::DeviceSecurity;
using platform::ItemAnswer;
using platform::ItemAuthenticator;
using platform::ItemRequest;
using platform::StoredItem;

namespace {

/// Whether two items cannot stand beside each other.
bool sameIdentity(const StoredItem& a, const StoredItem& b) {
  if (a.itemClass != b.itemClass) return false;
  const auto keys = platform::identifyingAttributes(a.itemClass);
  return std::all_of(keys.begin(), keys.end(), [&](std::string_view key) {
    const Value* first = a.attributes.find(key);
    const Value* second = b.attributes.find(key);
    return (first != nullptr ? *first : Value()) == (second != nullptr ? *second : Value());
  });
}

}  // namespace

MemoryItemStore::MemoryItemStore(std::shared_ptr<platform::Clock> clock)
    : clock_(std::move(clock)) {}

MemoryItemStore::~MemoryItemStore() = default;

std::int32_t MemoryItemStore::begin(std::string_view name, const Dictionary& dictionary) {
  calls_.push_back({std::string(name), dictionary});
  if (scripted_.empty()) return item_status::kSuccess;
  const std::int32_t status = scripted_.front();
  scripted_.pop_front();
  return status;
}

ItemAnswer MemoryItemStore::add(const Dictionary& item) {
  const Lock lock(mutex_);
  if (const std::int32_t status = begin("add", item)) return {status, {}};
  ItemRequest request;
  if (const std::int32_t status = readItemRequest(item, request)) return {status, {}};
  StoredItem added = itemOf(request, security_, clock_->now());
  if (const std::int32_t status = statusOfAdding(added, security_)) return {status, {}};
  for (const StoredItem& other : items_)
    if (sameIdentity(other, added)) return {item_status::kDuplicateItem, {}};
  added.persistentReference = {++lastReference_};
  items_.push_back(added);
  return {item_status::kSuccess, answerOf(request, std::span(&added, 1))};
}

ItemAnswer MemoryItemStore::copyMatching(const Dictionary& dictionary) {
  ItemRequest query;
  std::vector<StoredItem> items;
  DeviceSecurity security;
  ItemAuthenticator authenticator;
  {
    const Lock lock(mutex_);
    if (const std::int32_t status = begin("copyMatching", dictionary)) return {status, {}};
    if (const std::int32_t status = readItemRequest(dictionary, query)) return {status, {}};
    for (const StoredItem& item : items_)
      if (matches(query, item) && (query.wantsAll || items.empty())) items.push_back(item);
    security = security_;
    authenticator = authenticator_;
  }
  if (items.empty()) return {item_status::kItemNotFound, {}};
  if (const std::int32_t status = authenticateFor(query, items, security, authenticator))
    return {status, {}};
  return {item_status::kSuccess, answerOf(query, items)};
}

std::int32_t MemoryItemStore::remove(const Dictionary& dictionary) {
  const Lock lock(mutex_);
  if (const std::int32_t status = begin("remove", dictionary)) return status;
  ItemRequest query;
  if (const std::int32_t status = readItemRequest(dictionary, query)) return status;
  const auto gone = [&](const StoredItem& item) { return matches(query, item); };
  return std::erase_if(items_, gone) > 0 ? item_status::kSuccess : item_status::kItemNotFound;
}

Result<std::shared_ptr<platform::AccessControl>> MemoryItemStore::createAccessControl(
    std::string_view protection, std::uint32_t flags) {
  {
    const Lock lock(mutex_);
    if (const std::int32_t status = begin("createAccessControl", {}))
      return Error::make(kStatusDomain, status, platform::sentenceOfItemStatus(status));
  }
  return ItemStore::createAccessControl(protection, flags);
}

std::int32_t MemoryItemStore::reportDeviceSecurity(const DeviceSecurity& security) {
  const Lock lock(mutex_);
  security_ = security;
  std::erase_if(items_, [&](const StoredItem& item) { return isInvalidated(item, security); });
  return item_status::kSuccess;
}

void MemoryItemStore::setAuthenticator(ItemAuthenticator authenticator) {
  const Lock lock(mutex_);
  authenticator_ = std::move(authenticator);
}

platform::ItemStoreUse MemoryItemStore::use() const {
  return {"memory", "this process", "A test asked for it."};
}

void MemoryItemStore::answerNext(std::initializer_list<std::int32_t> statuses) {
  const Lock lock(mutex_);
  scripted_.insert(scripted_.end(), statuses);
}

std::vector<MemoryItemStore::Call> MemoryItemStore::takeCalls() {
  const Lock lock(mutex_);
  return std::exchange(calls_, {});
}

std::size_t MemoryItemStore::itemCount() const {
  const Lock lock(mutex_);
  return items_.size();
}

}  // namespace kelm::testing
