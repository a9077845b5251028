#pragma once

// What every item store promises. A program defines the stores that it runs this on, with
// INSTANTIATE_TEST_SUITE_P, and includes this once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kelm/base/describe.h"
#include "kelm/platform/item_store.h"

namespace kelm::test {

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

class ItemStoreContract : public testing::TestWithParam<ItemStoreMaker> {
 protected:
  /// The secret under a query, or its status as text.
  std::string secretOf(const Dictionary& query) const { return secretIn(*world.store, query); }
  static std::string secretIn(platform::ItemStore& store, const Dictionary& query) {
    const auto answer = store.copyMatching(with(query, kSecReturnData, true));
    if (answer.status != 0) return std::to_string(answer.status);
    const Data* secret = answer.result.get<Data>();
    return secret != nullptr ? std::string(textOf(*secret)) : "no data";
  }
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

TEST_P(ItemStoreContract, AddedSecretsAreFoundByAnyOfTheirAttributesAlsoByAnotherProcess) {
  const std::string binary("\0\xff secret\n", 9);
  const Dictionary item = with(password("anna"), {{std::string(kSecAttrGeneric), "pin"},
                                                  {std::string(kSecAttrComment), "perché"},
                                                  {std::string(kSecAttrCreator), 7}});
  ASSERT_EQ(add(withSecret(item, binary)), 0);
  ASSERT_EQ(add(withSecret(password("bruno"), "")), 0);

  EXPECT_EQ(secretOf(item), binary);
  EXPECT_EQ(secretOf({{std::string(kSecClass), kSecClassGenericPassword},
                      {std::string(kSecAttrComment), "perché"}}),
            binary);
  EXPECT_EQ(secretOf(with(password("anna"), kSecAttrCreator, 7.0)), binary);
  EXPECT_EQ(secretOf(password("bruno")), "");
  EXPECT_EQ(secretIn(*world.reopened(), password("anna")), binary);
  for (const Dictionary& other :
       {password("carla"), password("anna", "safes"), with(password("anna"), kSecAttrCreator, 8),
        with(password("anna"), kSecClass, kSecClassKey),
        with(password("anna"), kSecAttrGeneric, dataOf("pin"))})
    EXPECT_EQ(secretOf(other), "-25300") << describe(other);
}

TEST_P(ItemStoreContract, OneItemStandsUnderAnIdentityUntilItIsRemoved) {
  ASSERT_EQ(add(withSecret(password("anna"), "old")), 0);
  EXPECT_EQ(add(withSecret(with(password("anna"), kSecAttrLabel, "x"), "new")), -25299);
  EXPECT_EQ(secretOf(password("anna")), "old");
  EXPECT_EQ(world.store->remove(password("anna")), 0);
  EXPECT_EQ(world.store->remove(password("anna")), -25300);
  EXPECT_EQ(add(withSecret(password("anna"), "new")), 0);
  EXPECT_EQ(secretOf(password("anna")), "new");
}

TEST_P(ItemStoreContract, WhatIdentifiesAnItemDependsOnItsClass) {
  const Dictionary key = {{std::string(kSecClass), kSecClassKey},
                          {std::string(kSecAttrApplicationTag), dataOf("till_pub")},
                          {std::string(kSecAttrKeyType), "42"}};
  EXPECT_EQ(add(withSecret(key, "first")), 0);
  EXPECT_EQ(add(withSecret(with(key, kSecAttrLabel, "other"), "second")), -25299);
  EXPECT_EQ(add(withSecret(with(key, kSecAttrApplicationLabel, dataOf("2")), "second")), 0);
  EXPECT_EQ(add(withSecret(with(key, kSecAttrKeyClass, "1"), "third")), 0);
  EXPECT_EQ(secretOf(key), "first");
  EXPECT_EQ(secretOf(with(key, kSecAttrKeyClass, "1")), "third");

  EXPECT_EQ(add(with(password("anna"), kSecAttrGeneric, "a")), 0);
  EXPECT_EQ(add(with(password("anna"), kSecAttrGeneric, "b")), 0);
  EXPECT_EQ(add(with(password("anna"), kSecAttrAccessGroup, "")), 0);
  EXPECT_EQ(add(password("anna")), -25299);
  EXPECT_EQ(add(with(password("anna"), kSecAttrAccessGroup, "shared")), 0);
  EXPECT_EQ(accountsOf(with(password("anna"), kSecAttrAccessGroup, "shared")), "anna,");
  EXPECT_EQ(accountsOf(password("anna")), "anna,anna,anna,anna,");
}

TEST_P(ItemStoreContract, QueriesReturnTheFormsThatTheyAskFor) {
  const auto added = world.store->add(
      with(withSecret(with(password("anna"), kSecAttrAccessible, kSecAttrAccessibleAlways), "pw"),
           kSecReturnPersistentRef, true));
  ASSERT_EQ(added.status, 0);
  const Data* reference = added.result.get<Data>();
  ASSERT_TRUE(reference != nullptr && !reference->empty());
  ASSERT_EQ(add(withSecret(password("bruno"), "other")), 0);
  const Dictionary byReference = {{std::string(kSecClass), kSecClassGenericPassword},
                                  {std::string(kSecValuePersistentRef), *reference}};
  EXPECT_EQ(secretOf(byReference), "pw");

  const auto query = [&](const Dictionary& more) {
    return world.store->copyMatching(with(password("anna"), more));
  };
  EXPECT_TRUE(query({}).result.isNull());
  const auto object = query({{std::string(kSecReturnRef), true}}).result;
  ASSERT_NE(object.get<ObjectPointer>(), nullptr);
  const auto* handle = dynamic_cast<platform::ItemReference*>(object.get<ObjectPointer>()->get());
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(textOf(handle->secret()), "pw");
  EXPECT_EQ(describe(object), "<ItemReference>");

  const auto all = query({{std::string(kSecReturnAttributes), true},
                          {std::string(kSecReturnData), true},
                          {std::string(kSecReturnPersistentRef), true}});
  const auto* attributes = all.result.get<Dictionary>();
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(*attributes->find(kSecValueData), Value(dataOf("pw")));
  EXPECT_EQ(*attributes->find(kSecValuePersistentRef), Value(*reference));
  EXPECT_EQ(*attributes->find(kSecClass), kSecClassGenericPassword);
  EXPECT_EQ(*attributes->find(kSecAttrAccessible), kSecAttrAccessibleAlways);
  EXPECT_NE(attributes->find(kSecAttrCreationDate)->get<Date>(), nullptr);
  EXPECT_FALSE(attributes->contains(kSecAttrAccessControl));
}

TEST_P(ItemStoreContract, AQueryForAllFindsAndRemovesAllInTheOrderOfAdding) {
  for (const char* account : {"carla", "anna", "bruno"})
    ASSERT_EQ(add(withSecret(password(account), account)), 0);
  ASSERT_EQ(add(withSecret(password("dora", "safes"), "")), 0);
  Dictionary tills = password("");
  tills.remove(kSecAttrAccount);
  EXPECT_EQ(accountsOf(tills), "carla,anna,bruno,");
  const auto list =
      world.store->copyMatching(with(tills, {{std::string(kSecMatchLimit), kSecMatchLimitAll},
                                             {std::string(kSecReturnData), true}}));
  EXPECT_EQ(list.result, Value(List{dataOf("carla"), dataOf("anna"), dataOf("bruno")}));
  EXPECT_EQ(world.store->remove(tills), 0);
  EXPECT_EQ(accountsOf(tills), "-25300");
  EXPECT_EQ(secretOf(password("dora", "safes")), "");
}

TEST_P(ItemStoreContract, DictionariesThatMakeNoSenseAreRefused) {
  const std::vector<std::pair<std::string_view, Value>> wrong = {
      {kSecClass, Null()},
      {kSecClass, "unknown"},
      {kSecAttrAccessible, "unknown"},
      {kSecAttrAccessControl, "flags"},
      {kSecValueData, "text"},
      {kSecMatchLimit, "some"},
      {kSecMatchLimit, 0},
      {kSecReturnData, "yes"},
      {kSecAttrComment, List{}},
      {kSecAttrComment, Null()},
      {kSecAttrCreator, Decimal::fromText("1").value_or(Decimal())},
  };
  for (const auto& [key, value] : wrong) {
    const Dictionary item = with(password("anna"), key, value);
    EXPECT_EQ(add(item), -50) << describe(item);
    EXPECT_EQ(world.store->copyMatching(item).status, -50) << describe(item);
    EXPECT_EQ(world.store->remove(item), -50) << describe(item);
  }
  EXPECT_EQ(add({}), -50);
  EXPECT_EQ(world.store->remove({}), -50);
  EXPECT_EQ(accountsOf({{std::string(kSecClass), kSecClassGenericPassword}}), "-25300");
}

TEST_P(ItemStoreContract, AccessControlObjectsTakeKnownClassesAndFlags) {
  auto& store = *world.store;
  const auto control = store.createAccessControl(kSecAttrAccessibleWhenUnlocked, 16408);
  ASSERT_TRUE(control);
  EXPECT_EQ((*control)->description(), "<AccessControl ak 16408>");
  for (const auto& [protection, flags] :
       std::vector<std::pair<std::string_view, std::uint32_t>>{{"unknown", 1},
                                                               {kSecAttrAccessibleWhenUnlocked, 0},
                                                               {kSecAttrAccessibleAlways, 16384},
                                                               {kSecAttrAccessibleAlways, 4}}) {
    const auto refused = store.createAccessControl(protection, flags);
    ASSERT_FALSE(refused) << protection << flags;
    EXPECT_EQ(refused.error().code, -50);
  }
}

TEST_P(ItemStoreContract, NothingIsBoundToAPasscodeOrBiometricsThatAreNotSetUp) {
  struct Row {
    std::string_view protection;
    std::uint32_t flags;
    std::int32_t bare, passcode, both;
  };
  using namespace access_control_flag;
  const Row rows[] = {
      {kSecAttrAccessibleAfterFirstUnlock, kBiometryCurrentSet, -25293, -25293, 0},
      {kSecAttrAccessibleAfterFirstUnlock, kBiometryAny, -25293, -25293, 0},
      {kSecAttrAccessibleAfterFirstUnlock, kUserPresence, -25293, 0, 0},
      {kSecAttrAccessibleAfterFirstUnlock, kDevicePasscode, -25293, 0, 0},
      {kSecAttrAccessibleAfterFirstUnlock, kOr | kDevicePasscode | kBiometryAny, -25293, 0, 0},
      {kSecAttrAccessibleAfterFirstUnlock, kDevicePasscode | kBiometryAny, -25293, -25293, 0},
      {kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly, 0, -25293, 0, 0},
  };
  const auto statusNow = [&](const Row& row) {
    Dictionary item = with(password("anna"), kSecAttrAccessible, row.protection);
    if (row.flags != 0) item = withControl(item, row.protection, row.flags);
    const std::int32_t status = add(item);
    world.store->remove(password("anna"));
    return status;
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.protection) + ' ' + std::to_string(row.flags));
    report(false, {});
    EXPECT_EQ(statusNow(row), row.bare);
    report(true, {});
    EXPECT_EQ(statusNow(row), row.passcode);
    report(true, fingers);
    EXPECT_EQ(statusNow(row), row.both);
  }
}

TEST_P(ItemStoreContract, ReadingWhatIsProtectedAsksForWhatOpensItAndNobodyElse) {
  using namespace access_control_flag;
  report(true, fingers);
  struct Row {
    std::uint32_t flags;
    std::string asked;
  };
  const Row rows[] = {
      {kUserPresence, "passcode biometry"},
      {kBiometryAny, "biometry"},
      {kBiometryCurrentSet, "biometry"},
      {kDevicePasscode, "passcode"},
      {kOr | kDevicePasscode | kBiometryAny, "passcode biometry"},
      {kOr | kDevicePasscode | kBiometryCurrentSet, "passcode biometry"},
      {kDevicePasscode | kBiometryAny, "passcode biometry both"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.flags);
    ASSERT_EQ(
        add(withSecret(withControl(password("anna"), kSecAttrAccessibleAlways, row.flags), "pw")),
        0);
    std::string asked;
    std::int32_t reply = 0;
    world.store->setAuthenticator([&](const platform::AuthenticationRequest& request) {
      EXPECT_EQ(request.prompt, "Why");
      asked = std::string(request.passcode ? "passcode" : "") +
              (request.passcode && request.biometry ? " " : "") +
              (request.biometry ? "biometry" : "") + (request.needsBoth ? " both" : "");
      return reply;
    });
    const Dictionary query = with(password("anna"), kSecUseOperationPrompt, "Why");
    EXPECT_EQ(secretOf(query), "pw");
    EXPECT_EQ(asked, row.asked);
    for (reply = -128; reply != 0; reply = reply == -128 ? -25293 : 0)
      EXPECT_EQ(secretOf(query), std::to_string(reply));
    asked = "nobody";
    EXPECT_EQ(secretOf(with(query, kSecUseNoAuthenticationUI, true)), "-25308");
    EXPECT_EQ(accountsOf(with(query, kSecUseNoAuthenticationUI, true)), "anna,");
    EXPECT_EQ(asked, "nobody");
    world.store->setAuthenticator({});
    EXPECT_EQ(secretOf(query), "-25308");
    EXPECT_EQ(world.store->remove(password("anna")), 0);
  }
}

TEST_P(ItemStoreContract, ItemsVanishWithThePasscodeOrTheBiometricsThatTheyAreBoundTo) {
  using namespace access_control_flag;
  const auto fill = [&] {
    report(true, fingers);
    world.store->remove({{std::string(kSecClass), kSecClassGenericPassword}});
    const auto put = [&](std::string_view account, std::string_view protection,
                         std::uint32_t flags) {
      Dictionary item = with(password(account), kSecAttrAccessible, protection);
      if (flags != 0) item = withControl(item, protection, flags);
      ASSERT_EQ(add(withSecret(item, "pw")), 0) << account;
    };
    put("flag", kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly, 0);
    put("passcode", kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly, 0);
    put("set", kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly, kBiometryCurrentSet);
    put("any", kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly, kBiometryAny);
    put("either", kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly,
        kOr | kDevicePasscode | kBiometryCurrentSet);
  };
  const Dictionary all = {{std::string(kSecClass), kSecClassGenericPassword}};
  fill();
  report(true, fingers);
  EXPECT_EQ(accountsOf(all), "flag,passcode,set,any,either,");
  report(true, dataOf("left"));
  EXPECT_EQ(accountsOf(all), "flag,passcode,any,either,");
  // What no other way opens than the biometrics of another day is open to the passcode alone.
  world.store->setAuthenticator([](const platform::AuthenticationRequest& request) {
    return request.passcode && !request.biometry ? 0 : -25293;
  });
  EXPECT_EQ(secretOf(password("either")), "pw");
  report(false, {});
  EXPECT_EQ(accountsOf(all), "flag,any,either,");
  EXPECT_EQ(secretOf(password("either")), "-25293");
  report(true, fingers);
  EXPECT_EQ(accountsOf(all), "flag,any,either,");
  fill();
  EXPECT_EQ(secretOf(password("passcode")), "pw");
  EXPECT_EQ(secretIn(*world.reopened(), with(password("set"), kSecUseNoAuthenticationUI, true)),
            "-25308");
}

}  // namespace kelm::test
