#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "kelm/base/mutex.h"
#include "kelm/platform/item_query.h"
#include "kelm/platform/item_store.h"
#include "kelm/platform/linux/sealed_items.h"
#include "kelm/platform/linux/services.h"

namespace kelm::platform {

/// Items in one SQLite database, secrets sealed with AES-256-GCM together with their attributes.
/// Opened at the first call; a database that is taken away or replaced is noticed at the next one.
class SqliteItemStore : public ItemStore {
 public:
  explicit SqliteItemStore(SqliteItemStoreParts parts);

  ItemAnswer add(const Dictionary& item) override;
  ItemAnswer copyMatching(const Dictionary& query) override;
  std::int32_t remove(const Dictionary& query) override;
  std::int32_t reportDeviceSecurity(const DeviceSecurity& security) override;
  void setAuthenticator(ItemAuthenticator authenticator) override;
  ItemStoreUse use() const override;

 private:
  std::int32_t read(const Dictionary& dictionary, ItemRequest& request) const;
  /// Does the work on open items; after an error of theirs the next call opens them anew.
  std::int32_t with(const std::function<std::int32_t(SealedItems&)>& work) KELM_REQUIRES(mutex_);
  std::int32_t prepare() KELM_REQUIRES(mutex_);

  const SqliteItemStoreParts parts_;
  mutable Mutex mutex_;
  std::unique_ptr<SealedItems> items_ KELM_GUARDED_BY(mutex_);
  /// A report that could not be written down: nothing is answered before it is.
  std::optional<DeviceSecurity> pending_ KELM_GUARDED_BY(mutex_);
  std::uint64_t reports_ KELM_GUARDED_BY(mutex_) = 0;
  ItemAuthenticator authenticator_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::platform
