#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kelm/base/date.h"
#include "kelm/platform/items/item_query.h"
#include "kelm/platform/items/table_item_store.h"
#include "kelm/platform/linux/secret_service/secret_service_bus.h"

namespace kelm::platform {

/// The items of one application in the Secret Service. The service searches them by its own
/// attributes, made from theirs; its secret holds an item whole.
class SecretServiceItems : public ItemTable {
 public:
  explicit SecretServiceItems(std::string application) : application_(std::move(application)) {}

  std::int32_t open() override { return bus_.open(); }
  std::int32_t add(const ItemRequest& request, Date now, StoredItem& added) override;
  std::int32_t find(const ItemRequest& query, std::vector<StoredItem>& items,
                    DeviceSecurity& security) override;
  std::int32_t remove(const ItemRequest& query) override;
  std::int32_t apply(const DeviceSecurity& security) override;

 private:
  struct Row;

  SecretServiceBus::Attributes attributesOf(std::string_view kind) const;
  SecretServiceBus::Attributes attributesOf(const StoredItem& item) const;
  SecretServiceBus::Attributes attributesOf(const ItemRequest& query) const;
  std::int32_t rowsOf(const SecretServiceBus::Attributes& attributes, std::vector<Row>& rows);
  std::int32_t makeRoom(const SecretServiceBus::Attributes& twin);
  std::int32_t insert(StoredItem& item);
  std::int32_t keepFirst(const SecretServiceBus::Attributes& twin, const std::string& mine);
  std::int32_t readSecurity(DeviceSecurity& security);

  const std::string application_;
  SecretServiceBus bus_;
};

}  // namespace kelm::platform
