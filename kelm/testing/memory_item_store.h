#pragma once

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/items/item_query.h"
#include "kelm/platform/items/item_store.h"

namespace kelm::testing {

/// Items in memory. A passcode is set and one biometric set enrolled only once a test reports so.
class KELM_API MemoryItemStore : public platform::ItemStore {
 public:
  explicit MemoryItemStore(std::shared_ptr<platform::Clock> clock);
  ~MemoryItemStore() override;

  platform::ItemAnswer add(const Dictionary& item) override;
  platform::ItemAnswer copyMatching(const Dictionary& query) override;
  std::int32_t remove(const Dictionary& query) override;
  Result<std::shared_ptr<platform::AccessControl>> createAccessControl(
      std::string_view protection, std::uint32_t flags) override;
  std::int32_t reportDeviceSecurity(const platform::DeviceSecurity& security) override;
  void setAuthenticator(platform::ItemAuthenticator authenticator) override;
  platform::ItemStoreUse use() const override;

  /// The next calls of add(), copyMatching(), remove() and createAccessControl() report these
  /// instead of doing anything, one a call; success means that a call does its work.
  void answerNext(std::initializer_list<std::int32_t> statuses);
  /// Every call since the last time of asking: "add", "copyMatching", "remove" or
  /// "createAccessControl" and its dictionary.
  struct Call {
    std::string name;
    Dictionary dictionary;
  };
  std::vector<Call> takeCalls();
  std::size_t itemCount() const;

 private:
  std::int32_t begin(std::string_view name, const Dictionary& dictionary) KELM_REQUIRES(mutex_);

  const std::shared_ptr<platform::Clock> clock_;
  mutable Mutex mutex_;
  std::vector<platform::StoredItem> items_ KELM_GUARDED_BY(mutex_);
  std::deque<std::int32_t> scripted_ KELM_GUARDED_BY(mutex_);
  std::vector<Call> calls_ KELM_GUARDED_BY(mutex_);
  platform::DeviceSecurity security_ KELM_GUARDED_BY(mutex_);
  platform::ItemAuthenticator authenticator_ KELM_GUARDED_BY(mutex_);
  std::uint8_t lastReference_ KELM_GUARDED_BY(mutex_) = 0;
};

}  // namespace kelm::testing
