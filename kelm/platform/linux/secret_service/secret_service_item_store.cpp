#include "kelm/platform/items/secret_service.h"

#ifdef KELM_HAVE_SDBUS
#include <memory>
#include <utility>

#include "kelm/platform/bundle.h"
#include "kelm/platform/items/table_item_store.h"
#include "kelm/platform/linux/secret_service/secret_service_items.h"
#endif

namespace kelm::platform {

#ifdef KELM_HAVE_SDBUS
Result<std::shared_ptr<ItemStore>> connectSecretService(
    std::optional<std::vector<std::string>> accessGroups) {
  const std::string application = current<Bundle>()->identifier().value_or("");
  auto store = std::make_shared<TableItemStore>(
      [application] { return std::make_unique<SecretServiceItems>(application); },
      std::move(accessGroups),
      [] {
        return ItemStoreUse{"secret-service", "org.freedesktop.secrets on the session bus",
                            "The host chose it, and it answered."};
      });
  if (const std::int32_t status = store->open())
    return Error::make(ItemStore::kStatusDomain, status,
                       "The Secret Service does not answer on the session bus.");
  return std::shared_ptr<ItemStore>(std::move(store));
}
#else
Result<std::shared_ptr<ItemStore>> connectSecretService(std::optional<std::vector<std::string>>) {
  return Error::make(ItemStore::kStatusDomain, item_status::kNotAvailable,
                     "This library was built without a message bus.");
}
#endif

}  // namespace kelm::platform
