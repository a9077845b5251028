#include "kelm/platform/secret_service.h"

#ifdef KELM_HAVE_SDBUS
#include <memory>
#include <utility>

#include "kelm/platform/bundle.h"
#include "kelm/platform/linux/secret_service_items.h"
#include "kelm/platform/linux/table_item_store.h"
#endif

namespace kelm::platform {

#ifdef KELM_HAVE_SDBUS
Result<std::shared_ptr<ItemStore>> connectSecretService(
    const Platform& platform, std::optional<std::vector<std::string>> accessGroups) {
  const std::string application = platform.bundle->identifier().value_or("");
  auto store = std::make_shared<TableItemStore>(
      [application] { return std::make_unique<SecretServiceItems>(application); }, platform.clock,
      std::move(accessGroups),
      ItemStoreUse{"secret-service", "org.freedesktop.secrets on the session bus",
                   "The host chose it, and it answered."});
  if (const std::int32_t status = store->open())
    return Error::make(ItemStore::kStatusDomain, status,
                       "The Secret Service does not answer on the session bus.");
  return std::shared_ptr<ItemStore>(std::move(store));
}
#else
Result<std::shared_ptr<ItemStore>> connectSecretService(const Platform&,
                                                        std::optional<std::vector<std::string>>) {
  return Error::make(ItemStore::kStatusDomain, item_status::kNotAvailable,
                     "This library was built without a message bus.");
}
#endif

}  // namespace kelm::platform
