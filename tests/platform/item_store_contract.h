#pragma once

// What every item store promises. A program defines the stores that it runs this on, with
// INSTANTIATE_TEST_SUITE_P, and includes this once.

#include <string>
#include <utility>

#include "tests/platform/item_store_fixture.h"
#include "tests/platform/item_store_protection_contract.h"

namespace kelm::testing {

TEST_P(ItemStoreContract, AddedSecretsAreFoundByAnyOfTheirAttributesAlsoByAnotherProcess) {
  const std::string binary("\0\xff secret\n", 9);
  const Dictionary item = with(password("anna"), {{std::string(kSecAttrGeneric), "pin"},
                                                  {std::string(kSecAttrComment), "perché"},
                                                  {std::string(kSecAttrCreator), 7}});
  ASSERT_EQ(add(withSecret(item, binary)), 0);
  ASSERT_EQ(add(withSecret(password("bruno"), "")), 0);

  EXPECT_EQ(secretOf(item), binary);
  EXPECT_EQ(secretOf(with(kAnyPassword, kSecAttrComment, "perché")), binary);
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
  const std::pair<Dictionary, std::int32_t> items[] = {
      {withSecret(key, "first"), 0},
      {with(key, kSecAttrLabel, "other"), -25299},
      {with(key, kSecAttrApplicationLabel, dataOf("2")), 0},
      {withSecret(with(key, kSecAttrKeyClass, "1"), "third"), 0},
      {with(password("anna"), kSecAttrGeneric, "a"), 0},
      {with(password("anna"), kSecAttrGeneric, "b"), 0},
      {with(password("anna"), kSecAttrAccessGroup, ""), 0},
      {password("anna"), -25299},
      {with(password("anna"), kSecAttrAccessGroup, "shared"), 0}};
  for (const auto& [item, status] : items)
    EXPECT_EQ(add(item), status) << describe(item);
  EXPECT_EQ(secretOf(key), "first");
  EXPECT_EQ(secretOf(with(key, kSecAttrKeyClass, "1")), "third");
  EXPECT_EQ(accountsOf(with(password("anna"), kSecAttrAccessGroup, "shared")), "anna,");
  EXPECT_EQ(accountsOf(password("anna")), "anna,anna,anna,anna,");
}

TEST_P(ItemStoreContract, QueriesReturnTheFormsThatTheyAskFor) {
  const auto added =
      world.store->add(with(withSecret(password("anna"), kPassword),
                            {{std::string(kSecAttrAccessible), kSecAttrAccessibleAlways},
                             {std::string(kSecReturnPersistentRef), true}}));
  ASSERT_EQ(added.status, 0);
  const Data* reference = added.result.get<Data>();
  ASSERT_TRUE(reference != nullptr && !reference->empty());
  ASSERT_EQ(add(withSecret(password("bruno"), "other")), 0);
  EXPECT_EQ(secretOf(with(kAnyPassword, kSecValuePersistentRef, *reference)), kPassword);

  const auto query = [&](const Dictionary& more) {
    return world.store->copyMatching(with(password("anna"), more));
  };
  EXPECT_TRUE(query({}).result.isNull());
  const auto object = query({{std::string(kSecReturnRef), true}}).result;
  const auto& handle = dynamic_cast<platform::ItemReference&>(**object.get<ObjectPointer>());
  EXPECT_EQ(textOf(handle.secret()), kPassword);
  EXPECT_EQ(describe(object), "<ItemReference>");

  const auto all = query({{std::string(kSecReturnAttributes), true},
                          {std::string(kSecReturnData), true},
                          {std::string(kSecReturnPersistentRef), true}});
  const auto* attributes = all.result.get<Dictionary>();
  ASSERT_NE(attributes, nullptr);
  EXPECT_EQ(*attributes->find(kSecValueData), Value(dataOf(kPassword)));
  EXPECT_EQ(*attributes->find(kSecValuePersistentRef), Value(*reference));
  EXPECT_EQ(*attributes->find(kSecClass), kSecClassGenericPassword);
  EXPECT_EQ(*attributes->find(kSecAttrAccessible), kSecAttrAccessibleAlways);
  EXPECT_NE(attributes->find(kSecAttrCreationDate)->get<Date>(), nullptr);
  EXPECT_FALSE(attributes->contains(kSecAttrAccessControl));
}

TEST_P(ItemStoreContract, AQueryForAllFindsAndRemovesAllInTheOrderOfAdding) {
  for (const char* account : {"carla", "anna", "bruno"})
    ASSERT_EQ(add(withSecret(password(account), account)), 0);
  ASSERT_EQ(add(password("dora", "safes")), 0);
  const Dictionary tills = with(kAnyPassword, kSecAttrService, "tills");
  EXPECT_EQ(accountsOf(tills), "carla,anna,bruno,");
  EXPECT_EQ(secretOf(tills), "carla");
  const auto list =
      world.store->copyMatching(with(tills, {{std::string(kSecMatchLimit), kSecMatchLimitAll},
                                             {std::string(kSecReturnData), true}}));
  EXPECT_EQ(list.result, Value(List{dataOf("carla"), dataOf("anna"), dataOf("bruno")}));
  EXPECT_EQ(world.store->remove(tills), 0);
  EXPECT_EQ(accountsOf(tills), "-25300");
  EXPECT_EQ(accountsOf(kAnyPassword), "dora,");
}

TEST_P(ItemStoreContract, DictionariesThatMakeNoSenseAreRefused) {
  const std::pair<std::string_view, Value> wrong[] = {
      {kSecClass, Null()},
      {kSecClass, "unknown"},
      {kSecAttrAccessible, "unknown"},
      {kSecAttrAccessControl, "flags"},
      {kSecValueData, "text"},
      {kSecMatchLimit, 0},
      {kSecReturnData, "yes"},
      {kSecAttrComment, List{}},
      {kSecAttrCreator, Decimal::fromText("1").value_or(Decimal())},
  };
  for (const auto& [key, value] : wrong) {
    const Dictionary item = with(password("anna"), key, value);
    EXPECT_EQ(add(item), -50) << describe(item);
    EXPECT_EQ(world.store->copyMatching(item).status, -50) << describe(item);
    EXPECT_EQ(world.store->remove(item), -50) << describe(item);
  }
  EXPECT_EQ(world.store->remove({}), -50);
  EXPECT_EQ(accountsOf(kAnyPassword), "-25300");
}

}  // namespace kelm::testing
