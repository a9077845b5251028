#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "kelm/base/date.h"
#include "kelm/platform/items/item_encoding.h"
#include "kelm/platform/items/item_query.h"
#include "kelm/platform/items/table_item_store.h"
#include "kelm/platform/linux/items/item_database.h"
#include "kelm/platform/linux/items/item_keys.h"
#include "kelm/platform/linux/items/services.h"

namespace kelm::platform {

/// Items in one SQLite database: secrets sealed with AES-256-GCM together with their attributes.
class SealedItems : public ItemTable {
 public:
  explicit SealedItems(const SqliteItemStoreOptions& options);

  std::int32_t open() override;
  bool isStale(ItemUse use) const override;
  std::int32_t add(const ItemRequest& request, Date now, StoredItem& added) override;
  std::int32_t find(const ItemRequest& query, std::vector<StoredItem>& items,
                    DeviceSecurity& security) override;
  std::int32_t remove(const ItemRequest& query) override;
  std::int32_t apply(const DeviceSecurity& security) override;

 private:
  struct Row {
    const ItemStatement& columns;
    EncodedItem encoded;
    bool isReadable;
  };
  /// A row, and what it tells of its item without being unsealed, but for the attributes. False:
  /// enough rows.
  using TakeRow = std::function<bool(const Row& row, StoredItem& item)>;

  std::int32_t insert(StoredItem& item);
  std::int32_t removeDamagedTwin(const StoredItem& item, DataView identity);
  std::int32_t eachRow(std::string_view itemClass, DataView prefix, const TakeRow& take);
  static bool finds(const ItemRequest& query, const Row& row, const StoredItem& item);
  std::int32_t unsealInto(StoredItem& item, const Row& row);
  std::int32_t removeRows(const std::vector<std::int64_t>& rows);
  std::int32_t removeInvalidated(const DeviceSecurity& security);
  std::int32_t readSecurity(DeviceSecurity& security);
  std::int32_t writeSecurity(const DeviceSecurity& security);

  const std::string folder_;
  ItemDatabase database_;
  ItemKeys keys_;
  const bool isOfHome_;  // follows the home folder in use
  Data covered_;         // kept for its memory
};

}  // namespace kelm::platform
