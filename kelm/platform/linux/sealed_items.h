#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "kelm/base/date.h"
#include "kelm/platform/item_query.h"
#include "kelm/platform/linux/item_database.h"
#include "kelm/platform/linux/item_keys.h"
#include "kelm/platform/linux/services.h"
#include "kelm/platform/linux/table_item_store.h"

namespace kelm::platform {

/// Items in one SQLite database: secrets sealed with AES-256-GCM together with their attributes.
class SealedItems : public ItemTable {
 public:
  explicit SealedItems(SqliteItemStoreParts parts);

  std::int32_t open() override;
  bool isStale(ItemUse use) const override {
    return use == ItemUse::Read ? database_.isRemoved() : database_.hasMoved();
  }
  std::int32_t add(const ItemRequest& request, Date now, StoredItem& added) override;
  std::int32_t find(const ItemRequest& query, std::vector<StoredItem>& items,
                    DeviceSecurity& security) override;
  std::int32_t remove(const ItemRequest& query) override;
  std::int32_t apply(const DeviceSecurity& security) override;

 private:
  /// A row, decoded but not unsealed. False: enough rows. `isReadable`: whether it could be
  /// decoded.
  using TakeRow = std::function<bool(const ItemStatement& row, StoredItem& item, bool isReadable)>;
  /// The secret of a row as it lies there, the number of its key, and what else its tag covers.
  struct Sealed {
    std::int64_t key;
    Data covered;
    Data secret;
  };

  std::int32_t insert(StoredItem& item);
  std::int32_t removeDamagedTwin(const StoredItem& item, DataView identity);
  std::int32_t eachRow(std::string_view itemClass, DataView prefix, const TakeRow& take);
  static Sealed sealedOf(const ItemStatement& row, const StoredItem& item);
  std::int32_t unsealInto(StoredItem& item, const Sealed& sealed);
  std::int32_t removeRows(const std::vector<std::int64_t>& rows);
  std::int32_t removeInvalidated(const DeviceSecurity& security);
  std::int32_t readSecurity(DeviceSecurity& security);
  std::int32_t writeSecurity(const DeviceSecurity& security);

  const SqliteItemStoreParts parts_;
  ItemDatabase database_;
  ItemKeys keys_;
};

}  // namespace kelm::platform
