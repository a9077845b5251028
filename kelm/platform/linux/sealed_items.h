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

namespace kelm::platform {

/// The items of one open database, and the keys that seal them. Not thread-safe. After the statuses
/// `kNotAvailable` and `kInputOutput` it is to be dropped and opened anew.
class SealedItems {
 public:
  explicit SealedItems(const SqliteItemStoreParts& parts);

  std::int32_t open();
  /// True when the database is no longer the one that its path leads to.
  bool hasMoved() const { return database_.hasMoved(); }

  std::int32_t add(const ItemRequest& request, Date now, StoredItem& added);
  /// What a query finds, unsealed, and what protects the device.
  std::int32_t find(const ItemRequest& query, std::vector<StoredItem>& items,
                    DeviceSecurity& security);
  std::int32_t remove(const ItemRequest& query);
  /// Remembers what protects the device, and removes what cannot be read any more.
  std::int32_t apply(const DeviceSecurity& security);

 private:
  /// A row, decoded but not unsealed. False: enough rows. `isReadable`: whether it could be
  /// decoded.
  using TakeRow = std::function<bool(const ItemStatement& row, StoredItem& item, bool isReadable)>;

  std::int32_t insert(StoredItem& item);
  std::int32_t removeDamagedTwin(const StoredItem& item, DataView identity);
  std::int32_t eachRow(std::string_view itemClass, DataView prefix, const TakeRow& take);
  std::int32_t openRow(const ItemStatement& row, StoredItem& item);
  std::int32_t removeRows(const std::vector<std::int64_t>& rows);
  std::int32_t removeInvalidated(const DeviceSecurity& security);
  std::int32_t readSecurity(DeviceSecurity& security);
  std::int32_t writeSecurity(const DeviceSecurity& security);

  const SqliteItemStoreParts& parts_;
  ItemDatabase database_;
  ItemKeys keys_;
};

}  // namespace kelm::platform
