#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kelm/base/describe.h"
#include "kelm/platform/items/item_store.h"
#include "tests/support/canary.h"

namespace kelm::testing {

/// A store, empty at first and with nothing set up, and what keeps it alive.
struct ItemStoreWorld {
  std::shared_ptr<platform::ItemStore> store;
  /// The same items as another process sees them; the store itself where there is no such thing.
  std::function<std::shared_ptr<platform::ItemStore>()> reopened;
  std::shared_ptr<void> keeper;
};
struct ItemStoreMaker {
  std::string name;
  std::function<ItemStoreWorld()> make;
};
inline std::ostream& operator<<(std::ostream& out, const ItemStoreMaker& maker) {
  return out << maker.name;
}

const std::string kPassword = secretText("-password", 24);
const Dictionary kAnyPassword = {{std::string(kSecClass), kSecClassGenericPassword}};

/// A generic password of an account.
inline Dictionary password(std::string_view account, std::string_view service = "tills") {
  return {{std::string(kSecClass), kSecClassGenericPassword},
          {std::string(kSecAttrService), service},
          {std::string(kSecAttrAccount), account}};
}
inline Dictionary with(Dictionary dictionary, const Dictionary& more) {
  dictionary.addEntries(more);
  return dictionary;
}
inline Dictionary with(Dictionary dictionary, std::string_view key, Value value) {
  dictionary.set(key, std::move(value));
  return dictionary;
}
inline Dictionary withSecret(const Dictionary& item, std::string_view secret) {
  return with(item, kSecValueData, dataOf(secret));
}
inline Dictionary withControl(const Dictionary& item, std::string_view protection,
                              std::uint32_t flags) {
  return with(item, kSecAttrAccessControl,
              std::make_shared<platform::AccessControl>(protection, flags));
}

/// The secret under a query, or the status as text.
inline std::string secretIn(platform::ItemStore& store, const Dictionary& query) {
  const auto answer = store.copyMatching(with(query, kSecReturnData, true));
  const Data* secret = answer.result.get<Data>();
  return secret != nullptr ? std::string(textOf(*secret)) : std::to_string(answer.status);
}

class ItemStoreContract : public ::testing::TestWithParam<ItemStoreMaker> {
 protected:
  std::string secretOf(const Dictionary& query) const { return secretIn(*world.store, query); }
  std::int32_t add(const Dictionary& item) const { return world.store->add(item).status; }
  /// The accounts of all that a query finds, in order, with commas.
  std::string accountsOf(const Dictionary& query) const {
    const auto answer =
        world.store->copyMatching(with(query, {{std::string(kSecMatchLimit), kSecMatchLimitAll},
                                               {std::string(kSecReturnAttributes), true}}));
    if (answer.status != 0) return std::to_string(answer.status);
    std::string accounts;
    for (const Value& item : *answer.result.get<List>())
      accounts += std::string(*item.get<Dictionary>()->find(kSecAttrAccount)->text()) + ',';
    return accounts;
  }
  void report(bool passcode, std::optional<Data> biometrics) const {
    EXPECT_EQ(world.store->reportDeviceSecurity({passcode, std::move(biometrics)}), 0);
  }

  const ItemStoreWorld world = GetParam().make();
  const Data fingers = dataOf("left and right");
};

}  // namespace kelm::testing
