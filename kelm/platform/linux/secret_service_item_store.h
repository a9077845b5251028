#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/item_store.h"
#include "kelm/platform/linux/secret_service_items.h"

namespace kelm::platform {

/// Items in the Secret Service. A service that goes away is looked for again at the next call.
class SecretServiceItemStore : public ItemStore {
 public:
  SecretServiceItemStore(std::string application, std::shared_ptr<Clock> clock,
                         std::optional<std::vector<std::string>> accessGroups);

  /// Whether the service answers.
  std::int32_t open();

  ItemAnswer add(const Dictionary& item) override;
  ItemAnswer copyMatching(const Dictionary& query) override;
  std::int32_t remove(const Dictionary& query) override;
  std::int32_t reportDeviceSecurity(const DeviceSecurity& security) override;
  void setAuthenticator(ItemAuthenticator authenticator) override;
  ItemStoreUse use() const override;

 private:
  std::int32_t read(const Dictionary& dictionary, ItemRequest& request) const;
  std::int32_t with(const std::function<std::int32_t(SecretServiceItems&)>& work)
      KELM_REQUIRES(mutex_);
  std::int32_t prepare() KELM_REQUIRES(mutex_);

  const std::string application_;
  const std::shared_ptr<Clock> clock_;
  const std::optional<std::vector<std::string>> accessGroups_;
  mutable Mutex mutex_;
  std::unique_ptr<SecretServiceItems> items_ KELM_GUARDED_BY(mutex_);
  /// A report that could not be written down: nothing is answered before it is.
  std::optional<DeviceSecurity> pending_ KELM_GUARDED_BY(mutex_);
  std::uint64_t reports_ KELM_GUARDED_BY(mutex_) = 0;
  ItemAuthenticator authenticator_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::platform
