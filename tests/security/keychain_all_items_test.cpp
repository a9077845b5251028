#include "tests/security/keychain_fixture.h"

namespace kelm::testing {
namespace {

constexpr auto& migrate =
    VaspKeychainWrapper::changeDataProtectionToEntriesWithQuery_usingProtection;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Keychain, ResetDeletesEachPasswordWithAnAccountAndAServiceAndGoesOnAfterAFailure) {
  KeychainFixture f;
  f.put("anna", kPin, {{std::string(kSecAttrGeneric), "pin"}});
  f.put("bruno", kPin, {{std::string(kSecAttrAccessGroup), "A1"}});
  f.put("carla", kPin);
  f.store.add({{std::string(kSecClass), kSecClassGenericPassword},
               {std::string(kSecAttrAccount), "no service"}});
  f.store.add({{std::string(kSecClass), kSecClassKey}});
  f.store.takeCalls();
  f.store.answerNext({0, 0, -36});
  VaspKeychainWrapper::resetKeychain();
  const auto calls = f.store.takeCalls();
  EXPECT_EQ(f.textsOfAll({kSecAttrAccount}), "bruno,no service,");
  EXPECT_EQ(f.query(kSecClassKey).size(), 1U);
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(f.texts(calls[1].dictionary, {kSecAttrGeneric, kSecAttrAccessGroup}), "pin,-,");
  EXPECT_EQ(f.texts(calls[2].dictionary, {kSecAttrGeneric, kSecAttrAccessGroup}), "-,A1,");
  EXPECT_THAT(f.lines(),
              ElementsAre("WARN Error -36 in resetKeychain for " + describe(calls[2].dictionary)));

  f.store.answerNext({-25308});
  VaspKeychainWrapper::resetKeychain();
  EXPECT_EQ(f.calls(), "copyMatching");
}

TEST(Keychain, ListingGoesThroughTheFiveClassesAndNamesThreeResults) {
  KeychainFixture f;
  f.put("anna", kPin);
  f.store.answerNext({0, -25308, -36, 0, 0});
  const auto values = VaspKeychainWrapper::listAllValuesInKeychain();
  ASSERT_EQ(values.size(), 1U);
  EXPECT_FALSE(values[0].contains(kSecValueData));
  std::string classes;
  for (const auto& call : f.store.takeCalls())
    classes += f.texts(call.dictionary, {kSecClass, kSecMatchLimit, kSecUseNoAuthenticationUI});
  EXPECT_EQ(classes,
            "genp,m_LimitAll,1,inet,m_LimitAll,1,cert,m_LimitAll,1,keys,m_LimitAll,1,"
            "idnt,m_LimitAll,1,");
  EXPECT_THAT(f.log.lines(), ElementsAre("DEBUG Read listAllValuesInKeychain",
                                         "DEBUG Biometric items errSecSuccess",
                                         "DEBUG item_ " + describe(values[0]),
                                         "DEBUG Biometric items errSecInteractionNotAllowed",
                                         "DEBUG Biometric items errSecItemNotFound",
                                         "DEBUG Biometric items errSecItemNotFound"));
}

TEST(Keychain, DumpTranslatesKeysAndTheProtectionAndShowsSecretsInBase64) {
  KeychainFixture f;
  f.put("anna", "pw",
        {{std::string(kSecAttrAccessible), kSecAttrAccessibleAlwaysThisDeviceOnly},
         {"own", "kept"},
         {std::string(kSecAttrComment), "dku"}});
  f.put("bruno", "");
  const auto items = VaspKeychainWrapper::dump();
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(f.texts(items[0], {"kSecAttrAccount", "kSecAttrAccessible", "kSecValueData", "own",
                               "kSecAttrComment", "class"}),
            "anna,kSecAttrAccessibleAlwaysThisDeviceOnly,<<b64:cHc=>>,kept,dku,genp,");
  EXPECT_EQ(f.texts(items[1], {"kSecValueData"}), "<<0 bytes>>,");
  EXPECT_EQ(VaspKeychainWrapper::keyExtendedName("type"), "kSecAttrType");
  EXPECT_EQ(VaspKeychainWrapper::keyExtendedName("r_Data"), "r_Data");
}

TEST(Keychain, MigrationMovesEachItemToTheNewClassAndKeepsItsSecret) {
  KeychainFixture f;
  f.put("anna", "1", {{std::string(kSecAttrGeneric), "pin"}, {std::string(kSecAttrLabel), "x"}});
  f.put("bruno", "2",
        {{std::string(kSecAttrGeneric), "pin"}, {std::string(kSecAttrAccessGroup), "A1"}});
  f.put("carla", kPin, {{std::string(kSecAttrAccessGroup), "A1"}});
  EXPECT_FALSE(migrate({}, {}));
  EXPECT_EQ(f.calls(), "");
  EXPECT_TRUE(
      migrate(Dictionary{{std::string(kSecAttrService), "unknown"}}, kSecAttrAccessibleAlways));
  EXPECT_EQ(f.calls(), "copyMatching");
  EXPECT_TRUE(migrate({}, kSecAttrAccessibleAlways));
  const auto calls = f.store.takeCalls();
  ASSERT_EQ(calls.size(), 7U);
  const auto named = [&](std::size_t call) {
    return f.texts(calls[call].dictionary, {kSecAttrService, kSecAttrAccount, kSecAttrGeneric,
                                            kSecAttrAccessGroup, kSecClass});
  };
  EXPECT_EQ(named(1), "tills,anna,pin,-,-,");
  EXPECT_EQ(named(3), "tills,bruno,pin,A1,genp,");
  EXPECT_EQ(named(5), "tills,carla,-,-,-,");
  EXPECT_EQ(f.textsOfAll({kSecAttrAccount, kSecAttrAccessible, kSecAttrLabel}),
            "anna,dk,-,bruno,dk,-,carla,dk,-,");
  EXPECT_EQ(f.store
                .copyMatching(
                    {{std::string(kSecAttrAccount), "carla"}, {std::string(kSecReturnData), true}})
                .result,
            Value(dataOf(kPin)));
  EXPECT_THAT(f.lines(), IsEmpty());
}

TEST(Keychain, MigrationGoesOnAfterAFailureAndReportsIt) {
  KeychainFixture f;
  for (const char* account : {"anna", "bruno", "carla"})
    f.put(account, kPin);
  f.store.answerNext({0, -36, 0, -34, 0, 0});
  EXPECT_FALSE(migrate({}, kSecAttrAccessibleAlways));
  EXPECT_THAT(
      f.lines(),
      ElementsAre("ERROR Error deleting entry to migrate dataprotection: " + statusText(-36),
                  "ERROR Error readding entry to migrate dataprotection: " + statusText(-34)));
  EXPECT_EQ(f.calls(), "copyMatching remove remove add remove add");
  EXPECT_EQ(f.textsOfAll({kSecAttrAccount}), "anna,carla,");
}

}  // namespace
}  // namespace kelm::testing
