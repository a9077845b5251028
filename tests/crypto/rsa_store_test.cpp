#include <atomic>
#include <thread>
#include <vector>

#include "kelm/crypto/hexadecimal.h"
#include "kelm/crypto/vasp_rsa_key_util.h"
#include "kelm/platform/items/item_store.h"
#include "kelm/testing/test_platform.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::testing {
namespace {

const DataView kText = bytesOf("signed text");

class RsaStore : public ::testing::Test {
 protected:
  MemoryItemStore& store() { return *services_.itemStore; }
  static std::string generationLine(std::int32_t status) {
    return "3 0x200200 -[VaspRSA generateKeyPairWithID:size:] Error generating keypair Error "
           "Domain=NSOSStatusErrorDomain Code=" +
           std::to_string(status) + " \"" + std::string(platform::sentenceOfItemStatus(status)) +
           "\"";
  }

  TestPlatform services_;
  TestScope scope_{services_};
  LogCapture log_;
};

TEST_F(RsaStore, GeneratedPairIsKeptUnderItsTagsAndReadBack) {
  VaspRSA made;
  ASSERT_TRUE(made.generateKeyPairWithID_size("wallet", 512));
  const auto calls = store().takeCalls();
  ASSERT_EQ(calls.size(), 2U);
  for (const bool isPrivate : {true, false}) {
    const Dictionary& item = calls[isPrivate ? 0 : 1].dictionary;
    const std::pair<std::string_view, Value> rows[] = {
        {kSecClass, kSecClassKey},
        {kSecAttrKeyType, "42"},
        {kSecAttrKeyClass, isPrivate ? kSecAttrKeyClassPrivate : kSecAttrKeyClassPublic},
        {kSecAttrApplicationTag, dataOf(isPrivate ? "wallet_priv" : "wallet_pub")},
        {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly},
        {kSecAttrIsPermanent, true}};
    for (const auto& [key, value] : rows)
      EXPECT_EQ(*item.find(key), value) << key;
  }
  VaspRSA read;
  ASSERT_TRUE(read.readKeyPairWithID("wallet"));
  EXPECT_TRUE(read.check_withSign(kText, made.sign(kText)));
  EXPECT_EQ(VaspRSA::serializeSecKey(read.privateKey()),
            VaspRSA::serializeSecKey(made.privateKey()));
  EXPECT_EQ(recordsOf(log_), Lines());
}

TEST_F(RsaStore, DeletedPairIsGoneAndDeletingHalfOfOneIsFalse) {
  VaspRSA rsa;
  ASSERT_TRUE(rsa.generateKeyPairWithID_size("a", 512));
  ASSERT_TRUE(rsa.generateKeyPairWithID_size("b", 512));
  EXPECT_TRUE(rsa.deleteKeyPairWithID("a"));
  EXPECT_FALSE(rsa.deleteKeyPairWithID("a"));
  EXPECT_TRUE(rsa.privateKey());
  EXPECT_FALSE(rsa.readKeyPairWithID("a"));
  EXPECT_TRUE(rsa.readKeyPairWithID("b"));
  ASSERT_EQ(store().remove({{std::string(kSecClass), kSecClassKey},
                            {std::string(kSecAttrApplicationTag), dataOf("b_pub")}}),
            item_status::kSuccess);
  EXPECT_FALSE(rsa.readKeyPairWithID("b"));
  EXPECT_FALSE(rsa.deleteKeyPairWithID("b"));
  EXPECT_EQ(store().itemCount(), 0U);
  EXPECT_EQ(recordsOf(log_), Lines());
}

TEST_F(RsaStore, FailedReadKeepsTheKeysOfTheObject) {
  VaspRSA rsa;
  ASSERT_TRUE(rsa.generateKeyPairWithID_size("a", 512));
  const KeyReference before = rsa.privateKey();
  store().answerNext({item_status::kInteractionNotAllowed, 0, item_status::kDecode});
  for (int reading = 0; reading < 2; ++reading) {
    EXPECT_FALSE(rsa.readKeyPairWithID("a"));
    EXPECT_EQ(rsa.privateKey(), before);
  }
}

TEST_F(RsaStore, FailedGenerationKeepsNothingAndLogsTheError) {
  VaspRSA rsa;
  for (const std::int32_t size : {-5, 511, 8193, INT32_MAX}) {
    EXPECT_FALSE(rsa.generateKeyPairWithID_size("a", size));
    EXPECT_EQ(takeRecords(log_), Lines{generationLine(item_status::kParameter)});
  }
  store().answerNext({item_status::kDiskFull, item_status::kSuccess, item_status::kNotAvailable});
  for (const std::int32_t status : {item_status::kDiskFull, item_status::kNotAvailable}) {
    EXPECT_FALSE(rsa.generateKeyPairWithID_size("a", 512));
    EXPECT_EQ(takeRecords(log_), Lines{generationLine(status)});
    EXPECT_EQ(store().itemCount(), 0U);
  }
  EXPECT_FALSE(rsa.publicKey());
  EXPECT_FALSE(rsa.privateKey());
}

TEST_F(RsaStore, SecondPairOfAnIdentifierLeavesTheFirstInUse) {
  VaspRSA first;
  VaspRSA second;
  ASSERT_TRUE(first.generateKeyPairWithID_size("a", 512));
  ASSERT_TRUE(second.generateKeyPairWithID_size("a", 512));
  VaspRSA read;
  ASSERT_TRUE(read.readKeyPairWithID("a"));
  EXPECT_TRUE(read.check_withSign(kText, read.sign(kText)));
  EXPECT_TRUE(first.check_withSign(kText, read.sign(kText)));
  EXPECT_TRUE(read.deleteKeyPairWithID("a"));
  EXPECT_EQ(store().itemCount(), 0U);
}

TEST_F(RsaStore, HalfThatLostItsPartnerIsNeverReadWithAForeignOne) {
  VaspRSA rsa;
  // The public half is refused, and so is the removal of the private one.
  store().answerNext({0, item_status::kDiskFull, item_status::kDiskFull});
  ASSERT_FALSE(rsa.generateKeyPairWithID_size("a", 512));
  ASSERT_EQ(store().itemCount(), 1U);
  ASSERT_TRUE(rsa.generateKeyPairWithID_size("a", 512));
  VaspRSA read;
  ASSERT_TRUE(read.readKeyPairWithID("a"));
  EXPECT_TRUE(read.check_withSign(kText, read.sign(kText)));
  EXPECT_TRUE(rsa.check_withSign(kText, read.sign(kText)));
}

TEST_F(RsaStore, ThreadsThatKeepOneKeyOrSerialiseAtATimeAllGetIt) {
  const auto rsa = publicHalf();
  const Data der = fileOf("public_key.der");
  std::atomic<int> lost = 0;
  std::vector<std::jthread> threads(4);
  for (std::jthread& thread : threads)
    thread = std::jthread([&] {
      for (int i = 0; i < 50; ++i) {
        lost += VaspRSA::legacy_serializeSecKey(rsa->publicKey()) != der;
        lost += VaspRSAKeyUtil::dataKeyToSecKeyRef_withFingerprint_forKeyType(
                    der, "key", kSecAttrKeyClassPublic) == nullptr;
      }
    });
  threads.clear();
  EXPECT_EQ(lost, 0);
}

TEST_F(RsaStore, LegacySerialisationPassesThroughTheStoreAndLeavesNothing) {
  const auto rsa = publicHalf();
  EXPECT_EQ(VaspRSA::legacy_serializeSecKey(rsa->publicKey()), fileOf("public_key.der"));
  const auto calls = store().takeCalls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(*calls[0].dictionary.find(kSecAttrApplicationTag),
            Value(Data{'t', 'e', 'm', 'p', '.', 'p', 'u', 'b', 'l', 'i', 'c', 'k', 'e', 'y', 0}));
  EXPECT_EQ(store().itemCount(), 0U);
  store().answerNext({item_status::kDuplicateItem});
  EXPECT_EQ(VaspRSA::legacy_serializeSecKey(rsa->publicKey()), std::nullopt);
  EXPECT_EQ(store().takeCalls().size(), 1U);
  EXPECT_EQ(VaspRSA::legacy_serializeSecKey(nullptr), std::nullopt);
  EXPECT_EQ(recordsOf(log_), Lines());
}

TEST(VaspRSAKeyUtil, WritesTheNumbersAsPkcs1) {
  constexpr auto& write = VaspRSAKeyUtil::generateRSAPublicKeyWithModulus_exponent;
  const Data exponent{1, 0, 1};
  const auto row = [&](const std::string& start, const Data& modulus) {
    Data expected = bytesOfColumn(start);
    append(expected, modulus);
    append(expected, bytesOfColumn("0203010001"));
    EXPECT_EQ(write(modulus, exponent), expected) << start;
  };
  row("308186027f", Data(127, 0x40));
  row("30818902818100", Data(128, 0x80));
  row("308201090282010000", Data(255, 0x80));
  row("30070200", {});
  EXPECT_EQ(write(std::nullopt, exponent), std::nullopt);
  EXPECT_EQ(write(exponent, std::nullopt), std::nullopt);
}

TEST_F(RsaStore, HexNumbersBecomeAKeyThatIsKeptUnderThem) {
  const Data der = fileOf("public_key.der");
  const std::string modulus = hexText(DataView(der).subspan(9, 256), kLowerHex);
  constexpr auto& make = VaspRSAKeyUtil::generateRSAKeyWithHexModulus_andHexExponent_type;
  for (int i = 0; i < 2; ++i) {  // the second time in place of the first
    const KeyReference key = make(modulus, "010001", kSecAttrKeyClassPublic);
    EXPECT_EQ(VaspRSA::serializeSecKey(key), der);
    EXPECT_EQ(store().itemCount(), 1U);
    const auto calls = store().takeCalls();
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[0].name, "remove");
    for (const auto& call : calls)
      EXPECT_EQ(*call.dictionary.find(kSecAttrApplicationTag), Value(dataOf(modulus + "|010001")));
  }
  EXPECT_EQ(make(modulus, "010001", kSecAttrKeyClassPrivate), nullptr);
  EXPECT_EQ(make("", "", kSecAttrKeyClassPublic), nullptr);
  store().takeCalls();
  store().answerNext({item_status::kSuccess, item_status::kReadOnly});
  EXPECT_EQ(make(modulus, "010001", kSecAttrKeyClassPublic), nullptr);
  EXPECT_EQ(store().takeCalls().size(), 2U);
}

}  // namespace
}  // namespace kelm::testing
