#include "kelm/platform/secret_service.h"

#ifdef KELM_HAVE_SDBUS
#include <utility>

#include "kelm/platform/bundle.h"
#include "kelm/platform/linux/secret_service_item_store.h"

namespace kelm::platform {

SecretServiceItemStore::SecretServiceItemStore(std::string application,
                                               std::shared_ptr<Clock> clock,
                                               std::optional<std::vector<std::string>> accessGroups)
    : application_(std::move(application)),
      clock_(std::move(clock)),
      accessGroups_(std::move(accessGroups)) {}

std::int32_t SecretServiceItemStore::read(const Dictionary& dictionary,
                                          ItemRequest& request) const {
  if (const std::int32_t status = readItemRequest(dictionary, request)) return status;
  return mayUseGroup(request, accessGroups_) ? item_status::kSuccess
                                             : item_status::kNoAccessForItem;
}

std::int32_t SecretServiceItemStore::prepare() {
  if (!items_) {
    auto items = std::make_unique<SecretServiceItems>(application_);
    if (const std::int32_t status = items->open()) return status;
    items_ = std::move(items);
  }
  if (!pending_) return item_status::kSuccess;
  const std::int32_t status = items_->apply(*pending_);
  if (status == item_status::kSuccess) pending_.reset();
  return status;
}

std::int32_t SecretServiceItemStore::with(
    const std::function<std::int32_t(SecretServiceItems&)>& work) {
  std::int32_t status = prepare();
  if (status == item_status::kSuccess) status = work(*items_);
  if (status == item_status::kNotAvailable) items_.reset();
  return status;
}

std::int32_t SecretServiceItemStore::open() {
  const Lock lock(mutex_);
  return prepare();
}

ItemAnswer SecretServiceItemStore::add(const Dictionary& dictionary) {
  ItemRequest request;
  if (const std::int32_t status = read(dictionary, request)) return {status, {}};
  StoredItem added;
  const Lock lock(mutex_);
  const std::int32_t status =
      with([&](SecretServiceItems& items) { return items.add(request, clock_->now(), added); });
  if (status != item_status::kSuccess) return {status, {}};
  return {status, answerOf(request, std::span(&added, 1))};
}

ItemAnswer SecretServiceItemStore::copyMatching(const Dictionary& dictionary) {
  ItemRequest query;
  if (const std::int32_t status = read(dictionary, query)) return {status, {}};
  std::vector<StoredItem> found;
  DeviceSecurity security;
  ItemAuthenticator authenticator;
  std::uint64_t reports = 0;
  {
    const Lock lock(mutex_);
    const std::int32_t status =
        with([&](SecretServiceItems& items) { return items.find(query, found, security); });
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

std::int32_t SecretServiceItemStore::remove(const Dictionary& dictionary) {
  ItemRequest query;
  if (const std::int32_t status = read(dictionary, query)) return status;
  const Lock lock(mutex_);
  return with([&](SecretServiceItems& items) { return items.remove(query); });
}

std::int32_t SecretServiceItemStore::reportDeviceSecurity(const DeviceSecurity& security) {
  const Lock lock(mutex_);
  ++reports_;
  pending_ = security;
  return with([](SecretServiceItems&) { return item_status::kSuccess; });
}

void SecretServiceItemStore::setAuthenticator(ItemAuthenticator authenticator) {
  const Lock lock(mutex_);
  authenticator_.swap(authenticator);
}

ItemStoreUse SecretServiceItemStore::use() const {
  return {"secret-service", "org.freedesktop.secrets on the session bus",
          "The host chose it, and it answered."};
}

Result<std::shared_ptr<ItemStore>> connectSecretService(
    const Platform& platform, std::optional<std::vector<std::string>> accessGroups) {
  auto store = std::make_shared<SecretServiceItemStore>(platform.bundle->identifier().value_or(""),
                                                        platform.clock, std::move(accessGroups));
  if (const std::int32_t status = store->open())
    return Error::make(ItemStore::kStatusDomain, status,
                       "The Secret Service does not answer on the session bus.");
  return std::shared_ptr<ItemStore>(std::move(store));
}

}  // namespace kelm::platform
#else
namespace kelm::platform {

Result<std::shared_ptr<ItemStore>> connectSecretService(const Platform&,
                                                        std::optional<std::vector<std::string>>) {
  return Error::make(ItemStore::kStatusDomain, item_status::kNotAvailable,
                     "This library was built without a message bus.");
}

}  // namespace kelm::platform
#endif
