#include "tests/security/keychain_fixture.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

constexpr std::int32_t kUntouched = 12345;

TEST(VaspKeychainWrapper, ItemsAreNamedByEitherSchemeAndTheDefaultsAreWrittenBack) {
  struct Row {
    bool legacy;
    std::optional<std::string> service, account, group;
    std::string names;
  };
  const Row rows[] = {
      {false, {}, {}, {}, "kelm_service,kelm_account_pin,pin,-,"},
      {true, "", "", "", "kelm_service_pin,kelm_account,pin,-,"},
      {false, "tills", "anna", "A1.tills", "tills,anna_pin,pin,A1.tills,"},
      {true, "tills", "anna", "A1.tills", "tills_pin,anna,pin,A1.tills,"},
  };
  for (const Row& row : rows) {
    KeychainFixture f;
    f.keychain.setService(row.service);
    f.keychain.setAccount(row.account);
    f.keychain.setKeychainAccessGroup(row.group);
    f.keychain.setLegacyServiceAndAccountNamesMode(row.legacy);
    std::int32_t status = kUntouched;
    ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus(kPin, "pin", &status));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(f.calls(), "remove add");
    const Dictionary item = f.item();
    EXPECT_EQ(
        f.texts(item, {kSecAttrService, kSecAttrAccount, kSecAttrGeneric, kSecAttrAccessGroup}),
        row.names);
    EXPECT_EQ(f.texts(item, {kSecClass, kSecAttrAccessible, kSecAttrAccessControl}), "genp,cku,-,");
    EXPECT_EQ(f.keychain.service(), row.service == "tills" ? "tills" : "kelm_service");
    EXPECT_EQ(f.keychain.account(), row.account == "anna" ? "anna" : "kelm_account");
    EXPECT_THAT(f.keychain.readStringWithKey_returnStatus("pin"), Optional(std::string(kPin)));
  }
}

TEST(VaspKeychainWrapper, EachPairOfModesGivesItsProtectionClassAndFlags) {
  struct Row {
    std::int32_t authMode, invalidateMode;
    std::string control;
  };
  const Row rows[] = {
      {1, 0, "cku 2"},     {1, 1, "akpu 2"},     {1, 2, "akpu 8"},     {1, 3, "cku 8"},
      {1, 4, "akpu 2"},    {1, -1, "akpu 2"},    {2, 0, "cku 16"},     {2, 2, "akpu 16"},
      {3, 0, "cku 16402"}, {3, 1, "akpu 16402"}, {3, 2, "akpu 16408"}, {3, 3, "cku 16408"},
      {4, 3, "cku 1"},     {-7, 2, "akpu 1"},
  };
  for (const Row& row : rows) {
    KeychainFixture f;
    f.keychain.setKeychainAuthMode(row.authMode);
    f.keychain.setKeychainInvalidateMode(row.invalidateMode);
    ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus(kPin, "pin"));
    EXPECT_EQ(f.marks, 1);
    EXPECT_EQ(f.texts(f.item(), {kSecAttrAccessControl}), "<AccessControl " + row.control + ">,");
  }
  KeychainFixture f;
  f.keychain.setKeychainInvalidateMode(2);
  ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus(kPin, "pin"));
  EXPECT_EQ(f.marks, 0);
  EXPECT_EQ(f.texts(f.item(), {kSecAttrAccessible, kSecAttrAccessControl}), "cku,-,");
}

TEST(VaspKeychainWrapper, RefusedAccessControlLeavesTheStatusAndNoItem) {
  KeychainFixture f;
  f.keychain.setKeychainAuthMode(1);
  f.store.answerNext({0, -25293});
  std::int32_t status = kUntouched;
  EXPECT_FALSE(f.keychain.storeString_withKey_returnStatus(kPin, "pin", &status));
  EXPECT_EQ(status, kUntouched);
  EXPECT_EQ(f.calls(), "remove createAccessControl");
  EXPECT_THAT(f.lines(),
              ElementsAre("ERROR Error creating access control rules " + statusText(-25293)));
  EXPECT_EQ(f.log.records().back().aspect, 0x4200000);
  EXPECT_EQ(f.store.itemCount(), 0U);
}

TEST(VaspKeychainWrapper, MissingBytesAndKeysAreRefusedWithALineAndReachNoStore) {
  KeychainFixture f;
  std::int32_t status = kUntouched;
  auto& keychain = f.keychain;
  EXPECT_FALSE(keychain.store_withKey_returnStatus(std::nullopt, "pin", &status));
  EXPECT_FALSE(keychain.storeString_withKey_returnStatus(std::nullopt, "pin", &status));
  for (const std::optional<std::string_view> key :
       {std::optional<std::string_view>(), std::optional<std::string_view>("")}) {
    EXPECT_FALSE(keychain.store_withKey_returnStatus(dataOf("x"), key, &status));
    EXPECT_EQ(keychain.readWithKey_returnStatus(key, &status), std::nullopt);
    EXPECT_FALSE(keychain.existKey_returnStatus(key, &status));
    EXPECT_FALSE(keychain.deleteWithKey_returnStatus(key, &status));
  }
  EXPECT_EQ(status, kUntouched);
  EXPECT_EQ(f.calls(), "");
  EXPECT_THAT(
      f.lines(),
      ElementsAre(
          "ERROR Error keychain writing with key:pin", "ERROR Error keychain writing with key:pin",
          "ERROR Error keychain writing with key:(null)",
          "ERROR Error keychain reading with key:(null)",
          "ERROR Error keychain reading with key:(null)",
          "ERROR Error keychain deleting with key:(null)",
          "ERROR Error keychain writing with key:", "ERROR Error keychain reading with key:",
          "ERROR Error keychain reading with key:", "ERROR Error keychain deleting with key:"));
  for (const auto& record : f.log.records())
    EXPECT_EQ(record.aspect, 0x8200000);
}

TEST(VaspKeychainWrapper, SecondStoreReplacesAndEmptyBytesAreAValue) {
  KeychainFixture f;
  EXPECT_TRUE(f.keychain.storeString_withKey_returnStatus("1", "pin"));
  EXPECT_TRUE(f.keychain.store_withKey_returnStatus(DataView(), "pin"));
  EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin"), Data());
  EXPECT_EQ(f.store.itemCount(), 1U);
}

TEST(VaspKeychainWrapper, DuplicateIsDeletedAndStoredAgainUntilItWorks) {
  KeychainFixture f;
  f.store.answerNext({0, -25299, 0, 0, -25299, -25300, 0, 0});
  std::int32_t status = kUntouched;
  EXPECT_TRUE(f.keychain.storeString_withKey_returnStatus(kPin, "pin", &status));
  EXPECT_EQ(status, 0);
  EXPECT_EQ(f.calls(), "remove add remove remove add remove remove add");
  EXPECT_THAT(f.lines(), IsEmpty());

  f.store.answerNext({0, -25299, -36});
  EXPECT_FALSE(f.keychain.storeString_withKey_returnStatus(kPin, "pin", &status));
  EXPECT_EQ(status, -25299);
  EXPECT_THAT(f.lines(), ElementsAre("WARN Error keychain writing with key:pin\nStatus:" +
                                     statusText(-25299)));
}

TEST(VaspKeychainWrapper, ForeignAccessGroupIsExplainedWordForWord) {
  KeychainFixture f;
  f.store.answerNext({0, -25243});
  std::int32_t status = kUntouched;
  EXPECT_FALSE(f.keychain.storeString_withKey_returnStatus(kPin, "pin", &status));
  EXPECT_EQ(status, -25243);
  const std::string start = "Error keychain writing with key:pin\nStatus:" + statusText(-25243);
  // The stack follows on a line of its own.
  const std::string explained =
      start +
      "\nIl codice di errore -25243 viene mandato quando viene chiesto una entry con un kag senza "
      "averne i diritti di accesso, se succede verificare che il kag sia ben settato su "
      "capability, entitlement e come property interna di questa classe. Attenzione che la "
      "property deve essere del tipo <app_prefix><bundleid>.<qualcosa es: keychainshare>\n";
  std::vector<LogCapture::Record> records = f.log.records();
  std::erase_if(records, [](const auto& record) { return record.level == log_level::kDebug; });
  std::string joined;
  for (std::size_t i = 0; i + 1 < records.size(); ++i) {
    EXPECT_EQ(records[i].level, log_level::kError);
    EXPECT_EQ(records[i].aspect, 0x8200000);
    std::string_view message = records[i].message;
    if (message.starts_with('[')) message.remove_prefix(message.find(']') + 1);
    joined += message;
  }
  EXPECT_EQ(joined.substr(0, explained.size()), explained);
  EXPECT_EQ(records.back().message, start);
  EXPECT_EQ(records.back().level, log_level::kWarn);
}

TEST(VaspKeychainWrapper, ReadTellsTheStatusAndTextsMustBeUtf8) {
  KeychainFixture f;
  std::int32_t status = kUntouched;
  EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin", &status), std::nullopt);
  EXPECT_EQ(status, -25300);
  for (const std::string_view text : {"\xc3", "a\xff", "\xed\xa0\x80"}) {
    ASSERT_TRUE(f.keychain.store_withKey_returnStatus(bytesOf(text), "pin"));
    EXPECT_EQ(f.keychain.readStringWithKey_returnStatus("pin", &status), std::nullopt);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin"), dataOf(text));
  }
  ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus("perché 𝄞", "pin"));
  EXPECT_THAT(f.keychain.readStringWithKey_returnStatus("pin"), Optional(std::string("perché 𝄞")));
}

TEST(VaspKeychainWrapper, ProtectedItemIsReadBehindItsLocalizedPromptAndExistsWithoutOne) {
  KeychainFixture f;
  f.services.bundle->setInfo("strings", Dictionary{{"why", "Conferma il PIN"}});
  f.keychain.setKeychainAuthMode(3);
  f.keychain.setKeychainInvalidateMode(2);
  ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus(kPin, "pin"));
  std::string prompt;
  std::int32_t reply = 0;
  f.store.setAuthenticator([&](const platform::AuthenticationRequest& request) {
    prompt = request.prompt;
    return reply;
  });
  std::int32_t status = kUntouched;
  for (const std::string_view reason : {"why", "No translation"}) {
    f.keychain.setTouchIDReasonDescription(std::string(reason));
    EXPECT_THAT(f.keychain.readStringWithKey_returnStatus("pin", &status),
                Optional(std::string(kPin)));
    EXPECT_EQ(prompt, reason == "why" ? "Conferma il PIN" : reason);
  }
  reply = -128;
  EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin", &status), std::nullopt);
  EXPECT_EQ(status, -128);
  prompt = "nobody";
  EXPECT_TRUE(f.keychain.existKey_returnStatus("pin", &status));
  EXPECT_EQ(status, -25308);
  EXPECT_EQ(prompt, "nobody");
}

TEST(VaspKeychainWrapper, TranslatedQueryIsAskedInsteadUntilTheCallbackIsCleared) {
  KeychainFixture f;
  f.put("other", "theirs");
  ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus("mine", "pin"));
  VaspKeychainWrapper::setQueryTranslationCallback([](const Dictionary& query, std::int32_t zero) {
    EXPECT_EQ(zero, 0);
    EXPECT_EQ(KeychainFixture::texts(query, {kSecAttrGeneric, kSecMatchLimit, kSecReturnData}),
              "pin,m_LimitOne,1,");
    return Dictionary{{std::string(kSecClass), kSecClassGenericPassword},
                      {std::string(kSecAttrAccount), "other"},
                      {std::string(kSecReturnData), true}};
  });
  EXPECT_THAT(f.keychain.readStringWithKey_returnStatus("pin"), Optional(std::string("theirs")));
  VaspKeychainWrapper::setQueryTranslationCallback({});
  EXPECT_THAT(f.keychain.readStringWithKey_returnStatus("pin"), Optional(std::string("mine")));
}

TEST(VaspKeychainWrapper, DeletionsAndQuestionsAreLoggedWithTheirQueries) {
  KeychainFixture f;
  std::int32_t status = kUntouched;
  EXPECT_TRUE(f.keychain.deleteWithKey_returnStatus("pin", &status));
  EXPECT_EQ(status, -25300);
  EXPECT_FALSE(f.keychain.existKey_returnStatus("pin", &status));
  EXPECT_EQ(status, -25300);
  f.store.answerNext({-36});
  EXPECT_FALSE(f.keychain.deleteWithKey_returnStatus("pin", &status));
  EXPECT_EQ(status, -36);
  const Dictionary base = f.keychain.getQueryBaseWithKey("pin");
  Dictionary question = base;
  question.set(kSecUseNoAuthenticationUI, true);
  question.set(kSecReturnData, true);
  const auto deleting = [&](std::int32_t result) {
    return "DEBUG Deleting in keychain value for key:pin with query " + describe(base) +
           " -> status=" + statusText(result);
  };
  EXPECT_THAT(f.log.lines(),
              ElementsAre(deleting(-25300),
                          "DEBUG Check exists in keychain value for key:pin with query " +
                              describe(question) + " -> false",
                          deleting(-36)));
  EXPECT_EQ(f.log.records()[0].aspect, 0x8000000);
}

TEST(VaspKeychainWrapper, CleaningDeletesTheServiceAloneAndMarksTheKeychainWhenItFails) {
  KeychainFixture f;
  f.put("stranger", "kept");
  f.keychain.setService("app");
  for (const char* key : {"a", "b"})
    ASSERT_TRUE(f.keychain.storeString_withKey_returnStatus("x", key));
  std::int32_t status = kUntouched;
  EXPECT_TRUE(f.keychain.cleanallKeysWithReturnStatus(&status));
  EXPECT_EQ(status, 0);
  EXPECT_EQ(f.store.itemCount(), 1U);
  EXPECT_TRUE(f.keychain.cleanallKeysWithReturnStatus(&status));
  EXPECT_EQ(status, -25300);
  EXPECT_EQ(f.marks, 0);
  EXPECT_THAT(f.lines(), IsEmpty());

  f.keychain.setLegacyServiceAndAccountNamesMode(true);
  f.keychain.setKeychainAccessGroup("A1.tills");
  f.store.answerNext({-36});
  f.store.takeCalls();
  EXPECT_FALSE(f.keychain.cleanallKeysWithReturnStatus(&status));
  EXPECT_EQ(f.marks, 1);
  EXPECT_EQ(f.store.takeCalls()[0].dictionary,
            (Dictionary{{std::string(kSecClass), kSecClassGenericPassword},
                        {std::string(kSecAttrService), "app"},
                        {std::string(kSecAttrAccessGroup), "A1.tills"}}));
  EXPECT_THAT(f.lines(), ElementsAre("FATAL getSelectAllEntriesQuery not compatible with "
                                     "legacyServiceAndAccountNamesMode"));
}

}  // namespace
}  // namespace kelm::test
