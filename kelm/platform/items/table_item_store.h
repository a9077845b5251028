#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/date.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/items/item_query.h"
#include "kelm/platform/items/item_store.h"

namespace kelm::platform {

enum class ItemUse { Read, Change };

/// Where a store keeps its items. Not thread-safe. After the statuses `kNotAvailable` and
/// `kInputOutput` it is dropped, and another one opened.
class KELM_SHARED ItemTable {
 public:
  virtual ~ItemTable() = default;
  virtual std::int32_t open() = 0;
  /// True when what was opened must not be used so any more, for it is not what its name leads to.
  virtual bool isStale(ItemUse /*use*/) const { return false; }

  virtual std::int32_t add(const ItemRequest& request, Date now, StoredItem& added) = 0;
  /// What a query finds, with its secrets, and what protects the device if that counts for them.
  /// Attributes may be left out unless the query wants or names them.
  virtual std::int32_t find(const ItemRequest& query, std::vector<StoredItem>& items,
                            DeviceSecurity& security) = 0;
  virtual std::int32_t remove(const ItemRequest& query) = 0;
  /// Remembers what protects the device, and removes what cannot be read any more.
  virtual std::int32_t apply(const DeviceSecurity& security) = 0;
};

/// An item store over a table, which it opens at the first call.
class KELM_SHARED TableItemStore : public ItemStore {
 public:
  using AccessGroups = std::optional<std::vector<std::string>>;

  TableItemStore(std::function<std::unique_ptr<ItemTable>()> makeTable, AccessGroups accessGroups,
                 std::function<ItemStoreUse()> use);

  /// Opens the table now.
  std::int32_t open();

  ItemAnswer add(const Dictionary& item) override;
  ItemAnswer copyMatching(const Dictionary& query) override;
  std::int32_t remove(const Dictionary& query) override;
  std::int32_t reportDeviceSecurity(const DeviceSecurity& security) override;
  void setAuthenticator(ItemAuthenticator authenticator) override;
  ItemStoreUse use() const override { return use_(); }

 private:
  std::int32_t read(const Dictionary& dictionary, ItemRequest& request) const;
  std::int32_t prepare(ItemUse use) KELM_REQUIRES(mutex_);
  /// Does the work on the open table.
  template <class Work>
  std::int32_t with(ItemUse use, const Work& work) KELM_REQUIRES(mutex_);

  const std::function<std::unique_ptr<ItemTable>()> makeTable_;
  const AccessGroups accessGroups_;
  const std::function<ItemStoreUse()> use_;
  mutable Mutex mutex_;
  std::unique_ptr<ItemTable> table_ KELM_GUARDED_BY(mutex_);
  /// A report that could not be written down: nothing is answered before it is.
  std::optional<DeviceSecurity> pending_ KELM_GUARDED_BY(mutex_);
  std::uint64_t reports_ KELM_GUARDED_BY(mutex_) = 0;
  ItemAuthenticator authenticator_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::platform
