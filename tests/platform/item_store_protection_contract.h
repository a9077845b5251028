#pragma once

// What every item store promises of items that demand a passcode or biometrics.

#include <string>
#include <utility>

#include "tests/platform/item_store_fixture.h"

namespace kelm::testing {

TEST_P(ItemStoreContract, AccessControlObjectsTakeKnownClassesAndFlags) {
  const auto control = world.store->createAccessControl(kSecAttrAccessibleWhenUnlocked, 16408);
  ASSERT_TRUE(control);
  EXPECT_EQ((*control)->description(), "<AccessControl ak 16408>");
  using Row = std::pair<std::string_view, std::uint32_t>;
  for (const auto& [protection, flags] : {Row("unknown", 1), Row(kSecAttrAccessibleWhenUnlocked, 5),
                                          Row(kSecAttrAccessibleAlways, 16384)}) {
    const auto refused = world.store->createAccessControl(protection, flags);
    ASSERT_FALSE(refused) << protection << flags;
    EXPECT_EQ(refused.error().code, -50);
  }
}

/// What flags of an access control object demand. Nothing can be added without passcode and
/// biometrics, everything with both.
struct Demand {
  std::uint32_t flags;
  std::int32_t addedWithPasscodeAlone;
  std::string asked;
};
const Demand kDemands[] = {
    {access_control_flag::kUserPresence, 0, "passcode biometry "},
    {access_control_flag::kBiometryAny, -25293, "biometry "},
    {access_control_flag::kBiometryCurrentSet, -25293, "biometry "},
    {access_control_flag::kDevicePasscode, 0, "passcode "},
    {access_control_flag::kOr | access_control_flag::kDevicePasscode |
         access_control_flag::kBiometryCurrentSet,
     0, "passcode biometry "},
    {access_control_flag::kDevicePasscode | access_control_flag::kBiometryAny, -25293,
     "passcode biometry both"},
};

TEST_P(ItemStoreContract, ProtectedItemsNeedWhatIsSetUpAndReadingThemAsksForWhatOpensThem) {
  const Dictionary query = with(password("anna"), kSecUseOperationPrompt, "Why");
  for (const Demand& demand : kDemands) {
    SCOPED_TRACE(demand.flags);
    const Dictionary item =
        withSecret(withControl(password("anna"), kSecAttrAccessibleAlways, demand.flags), "pw");
    report(false, {});
    EXPECT_EQ(add(item), -25293);
    report(true, {});
    EXPECT_EQ(add(item), demand.addedWithPasscodeAlone);
    world.store->remove(password("anna"));
    report(true, fingers);
    EXPECT_EQ(add(item), 0);

    std::string asked;
    std::int32_t reply = 0;
    world.store->setAuthenticator([&](const platform::AuthenticationRequest& request) {
      EXPECT_EQ(request.prompt, "Why");
      asked = std::string(request.passcode ? "passcode " : "") +
              (request.biometry ? "biometry " : "") + (request.needsBoth ? "both" : "");
      return reply;
    });
    EXPECT_EQ(secretOf(query), "pw");
    EXPECT_EQ(asked, demand.asked);
    for (const std::int32_t refusal : {-128, -25293}) {
      reply = refusal;
      EXPECT_EQ(secretOf(query), std::to_string(refusal));
    }
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
  const std::string_view always = kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly;
  const auto fill = [&] {
    report(true, fingers);
    world.store->remove(kAnyPassword);
    for (const Dictionary& item :
         {with(password("flag"), kSecAttrAccessible, always),
          with(password("passcode"), kSecAttrAccessible,
               kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly),
          withControl(password("set"), always, kBiometryCurrentSet),
          withControl(password("any"), always, kBiometryAny),
          withControl(password("either"), always, kOr | kDevicePasscode | kBiometryCurrentSet)})
      ASSERT_EQ(add(withSecret(item, "pw")), 0) << describe(item);
  };
  report(false, {});
  EXPECT_EQ(add(with(password("passcode"), kSecAttrAccessible,
                     kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly)),
            -25293);
  fill();
  report(true, fingers);
  EXPECT_EQ(accountsOf(kAnyPassword), "flag,passcode,set,any,either,");
  report(true, dataOf("left"));
  EXPECT_EQ(accountsOf(kAnyPassword), "flag,passcode,any,either,");
  // What no other way opens than the biometrics of another day is open to the passcode alone.
  world.store->setAuthenticator([](const platform::AuthenticationRequest& request) {
    return request.passcode && !request.biometry ? 0 : -25293;
  });
  EXPECT_EQ(secretOf(password("either")), "pw");
  report(false, {});
  EXPECT_EQ(accountsOf(kAnyPassword), "flag,any,either,");
  EXPECT_EQ(secretOf(password("either")), "-25293");
  report(true, fingers);
  EXPECT_EQ(accountsOf(kAnyPassword), "flag,any,either,");
  fill();
  EXPECT_EQ(secretOf(password("passcode")), "pw");
  EXPECT_EQ(secretIn(*world.reopened(), with(password("set"), kSecUseNoAuthenticationUI, true)),
            "-25308");
}

}  // namespace kelm::testing
