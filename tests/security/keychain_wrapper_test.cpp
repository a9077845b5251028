#include <tuple>

#include "kelm/base/format.h"
#include "tests/security/keychain_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(VaspKeychainWrapper, ItemsAreNamedByEitherSchemeAndTheDefaultsAreWrittenBack) {
  using Text = std::optional<std::string>;
  using Row = std::tuple<bool, Text, Text, Text, const char*>;
  for (const auto& [legacy, service, account, group, names] :
       {Row{false, {}, {}, {}, "kelm_service,kelm_account_pin,pin,-,"},
        Row{true, "", "", "", "kelm_service_pin,kelm_account,pin,-,"},
        Row{false, "tills", "anna", "A1.tills", "tills,anna_pin,pin,A1.tills,"},
        Row{true, "tills", "anna", "A1.tills", "tills_pin,anna,pin,A1.tills,"}}) {
    KeychainFixture f;
    f.keychain.setService(service);
    f.keychain.setAccount(account);
    f.keychain.setKeychainAccessGroup(group);
    f.keychain.setLegacyServiceAndAccountNamesMode(legacy);
    ASSERT_TRUE(f.keep("pin"));
    EXPECT_EQ(f.status, 0);
    EXPECT_EQ(f.calls(), "remove add");
    EXPECT_EQ(
        f.textsOfAll({kSecAttrService, kSecAttrAccount, kSecAttrGeneric, kSecAttrAccessGroup}),
        names);
    EXPECT_EQ(f.textsOfAll({kSecClass, kSecAttrAccessible, kSecAttrAccessControl}), "genp,cku,-,");
    EXPECT_EQ(f.keychain.service(), service == "tills" ? "tills" : "kelm_service");
    EXPECT_EQ(f.keychain.account(), account == "anna" ? "anna" : "kelm_account");
    EXPECT_TRUE(f.keychain.existKey_returnStatus("pin"));
  }
}

TEST(VaspKeychainWrapper, EachPairOfModesGivesItsProtectionClassAndFlags) {
  const std::tuple<std::int32_t, std::int32_t, std::string, std::uint32_t> rows[] = {
      {1, 0, "cku", 2},      {1, 1, "akpu", 2},  {1, 2, "akpu", 8},  {1, 3, "cku", 8},
      {1, 4, "akpu", 2},     {1, -1, "akpu", 2}, {2, 3, "cku", 16},  {3, 1, "akpu", 16402},
      {3, 2, "akpu", 16408}, {4, 3, "cku", 1},   {-7, 2, "akpu", 1}, {0, 2, "cku", 0},
  };
  for (const auto& [authMode, invalidateMode, protection, flags] : rows) {
    KeychainFixture f;
    f.keychain.setKeychainAuthMode(authMode);
    f.keychain.setKeychainInvalidateMode(invalidateMode);
    ASSERT_TRUE(f.keep("pin"));
    EXPECT_EQ(f.isMarked(), authMode != 0);
    const std::string control = format("<AccessControl %@ %u>", protection, flags);
    EXPECT_EQ(f.textsOfAll({kSecAttrAccessible, kSecAttrAccessControl}),
              protection + "," + (authMode == 0 ? "-" : control) + ",");
  }
}

TEST(VaspKeychainWrapper, RefusedAccessControlLeavesTheStatusAndNoItem) {
  KeychainFixture f;
  f.keychain.setKeychainAuthMode(1);
  constexpr int kCallsOfMarking = 9;
  for (int call = 0; call < kCallsOfMarking; ++call)
    f.store.answerNext({0});
  f.store.answerNext({0, -25293});
  EXPECT_FALSE(f.keep("pin"));
  EXPECT_EQ(f.status, KeychainFixture::kUntouched);
  EXPECT_THAT(f.calls(), ::testing::EndsWith(" add remove createAccessControl"));
  EXPECT_THAT(f.lines(),
              ElementsAre("ERROR Error creating access control rules " + statusText(-25293)));
  EXPECT_EQ(f.log.records().back().aspect, 0x4200000);
}

TEST(VaspKeychainWrapper, MissingBytesAndKeysAreRefusedWithALineAndReachNoStore) {
  KeychainFixture f;
  EXPECT_FALSE(f.keychain.store_withKey_returnStatus(std::nullopt, "pin", &f.status));
  EXPECT_FALSE(f.keychain.storeString_withKey_returnStatus(std::nullopt, "pin", &f.status));
  const std::string error = "ERROR Error keychain ";
  std::vector<std::string> lines(2, error + "writing with key:pin");
  for (const auto& key : {std::optional<std::string>(), std::optional<std::string>("")}) {
    EXPECT_FALSE(f.keychain.store_withKey_returnStatus(dataOf("x"), key, &f.status));
    EXPECT_EQ(f.keychain.readWithKey_returnStatus(key, &f.status), std::nullopt);
    EXPECT_FALSE(f.keychain.existKey_returnStatus(key, &f.status));
    EXPECT_FALSE(f.keychain.deleteWithKey_returnStatus(key, &f.status));
    for (const char* verb : {"writing", "reading", "reading", "deleting"})
      lines.push_back(error + verb + " with key:" + key.value_or("(null)"));
  }
  EXPECT_EQ(f.status, KeychainFixture::kUntouched);
  EXPECT_EQ(f.calls(), "");
  EXPECT_EQ(f.lines(), lines);
  for (const auto& record : f.log.records())
    EXPECT_EQ(record.aspect, 0x8200000);
}

TEST(VaspKeychainWrapper, DuplicateIsDeletedAndStoredAgainUntilItWorks) {
  KeychainFixture f;
  f.store.answerNext({0, -25299, 0, 0, -25299, -25300, 0, 0});
  EXPECT_TRUE(f.keep("pin"));
  EXPECT_EQ(f.status, 0);
  EXPECT_EQ(f.calls(), "remove add remove remove add remove remove add");
  EXPECT_THAT(f.lines(), IsEmpty());

  f.store.answerNext({0, -25299, -36});
  EXPECT_FALSE(f.keep("pin"));
  EXPECT_EQ(f.status, -25299);
  EXPECT_THAT(f.lines(), ElementsAre("WARN Error keychain writing with key:pin\nStatus:" +
                                     statusText(-25299)));
}

TEST(VaspKeychainWrapper, ForeignAccessGroupIsExplainedWordForWord) {
  KeychainFixture f;
  f.store.answerNext({0, -25243});
  EXPECT_FALSE(f.keep("pin"));
  EXPECT_EQ(f.status, -25243);
  const std::string start = "Error keychain writing with key:pin\nStatus:" + statusText(-25243);
  // In pieces; what follows is the stack.
  const std::string explained =
      start +
      "\nIl codice di errore -25243 viene mandato quando viene chiesto una entry con un kag senza "
      "averne i diritti di accesso, se succede verificare che il kag sia ben settato su "
      "capability, entitlement e come property interna di questa classe. Attenzione che la "
      "property deve essere del tipo <app_prefix><bundleid>.<qualcosa es: keychainshare>\n";
  std::string joined;
  for (const LogCapture::Record& record : f.log.records()) {
    if (record.level != log_level::kError) continue;
    EXPECT_EQ(record.aspect, 0x8200000);
    joined += record.message.substr(record.message.find(']') + 1);
  }
  EXPECT_TRUE(joined.starts_with(explained)) << joined;
  EXPECT_EQ(f.lines().back(), "WARN " + start);
}

TEST(VaspKeychainWrapper, ReadTellsTheStatusOfWhatWasStoredLastAndTextsMustBeUtf8) {
  KeychainFixture f;
  EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin", &f.status), std::nullopt);
  EXPECT_EQ(f.status, -25300);
  for (const std::string_view text : {"\xc3", "a\xff", "\xed\xa0\x80", "", "perché 𝄞"}) {
    ASSERT_TRUE(f.keychain.store_withKey_returnStatus(bytesOf(text), "pin"));
    const bool isText = text.empty() || text.starts_with("perch");
    EXPECT_EQ(f.read(), isText ? std::optional<std::string>(text) : std::nullopt);
    EXPECT_EQ(f.status, 0);
    EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin"), dataOf(text));
  }
  EXPECT_EQ(f.store.itemCount(), 1U);
}

TEST(VaspKeychainWrapper, ProtectedItemIsReadBehindItsLocalizedPromptAndExistsWithoutOne) {
  KeychainFixture f;
  f.services.bundle->setInfo("strings", Dictionary{{"why", "Conferma il PIN"}});
  f.keychain.setKeychainAuthMode(3);
  ASSERT_TRUE(f.keep("pin"));
  std::string prompt;
  std::int32_t reply = 0;
  f.store.setAuthenticator([&](const platform::AuthenticationRequest& request) {
    prompt = request.prompt;
    return reply;
  });
  for (const std::string_view reason : {"why", "No translation"}) {
    f.keychain.setTouchIDReasonDescription(std::string(reason));
    EXPECT_EQ(f.read(), kPin);
    EXPECT_EQ(prompt, reason == "why" ? "Conferma il PIN" : reason);
  }
  reply = -128;
  EXPECT_EQ(f.keychain.readWithKey_returnStatus("pin", &f.status), std::nullopt);
  EXPECT_EQ(f.status, -128);
  prompt = "nobody";
  EXPECT_TRUE(f.keychain.existKey_returnStatus("pin", &f.status));
  EXPECT_EQ(f.status, -25308);
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
  EXPECT_EQ(f.read(), "theirs");
  VaspKeychainWrapper::setQueryTranslationCallback({});
  EXPECT_EQ(f.read(), "mine");
}

TEST(VaspKeychainWrapper, DeletionsAndQuestionsAreLoggedWithTheirQueries) {
  KeychainFixture f;
  EXPECT_TRUE(f.keychain.deleteWithKey_returnStatus("pin", &f.status));
  EXPECT_EQ(f.status, -25300);
  EXPECT_FALSE(f.keychain.existKey_returnStatus("pin", &f.status));
  EXPECT_EQ(f.status, -25300);
  f.store.answerNext({-36});
  EXPECT_FALSE(f.keychain.deleteWithKey_returnStatus("pin", &f.status));
  EXPECT_EQ(f.status, -36);
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
  ASSERT_TRUE(f.keep("a") && f.keep("b"));
  for (const std::int32_t status : {0, -25300}) {
    EXPECT_TRUE(f.keychain.cleanallKeysWithReturnStatus(&f.status));
    EXPECT_EQ(f.status, status);
    EXPECT_EQ(f.store.itemCount(), 1U);
  }
  EXPECT_FALSE(f.isMarked());
  EXPECT_THAT(f.lines(), IsEmpty());

  f.keychain.setLegacyServiceAndAccountNamesMode(true);
  f.keychain.setKeychainAccessGroup("A1.tills");
  f.store.answerNext({-36});
  f.store.takeCalls();
  EXPECT_FALSE(f.keychain.cleanallKeysWithReturnStatus(&f.status));
  EXPECT_EQ(f.store.takeCalls()[0].dictionary,
            (Dictionary{{std::string(kSecClass), kSecClassGenericPassword},
                        {std::string(kSecAttrService), "app"},
                        {std::string(kSecAttrAccessGroup), "A1.tills"}}));
  EXPECT_THAT(f.lines(), ElementsAre("FATAL getSelectAllEntriesQuery not compatible with "
                                     "legacyServiceAndAccountNamesMode"));
  EXPECT_TRUE(f.isMarked());
}

}  // namespace
}  // namespace kelm::testing
