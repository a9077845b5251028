#pragma once

// What every item store promises of items that demand a passcode or biometrics.

#include <string>
#include <vector>

#include "tests/platform/item_store_fixture.h"

namespace kelm::test {

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
