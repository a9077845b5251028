#include "kelm/crypto/vasp_signed_string.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <type_traits>

#include "kelm/base/error.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/crypto/vasp_pbkdf2.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::UnorderedElementsAre;

const std::string kText = "https://pay.example/ü😀";

constexpr auto& makeOf = VaspSignedString::initWithString_checksum;

/// Key material of the whole process, and the checksum of kText; taken back at the end.
struct SignedStringWorld {
  std::string certificate = base64Of(fileOf("certificate_rsa.der"));
  Data salt = secretBytes("-salt", 16);
  Data ck1 = counted(16, 3);
  Data ck2 = *VaspCryptoUtils::xorData_withData(ck1, salt);
  Data cks = *privateHalf()->sign_withPadding(salt, VaspRSA::kSha256SignaturePadding);
  std::string text = kText;
  std::string checksum = checksumOf(kText);

  std::string checksumOf(const std::string& value) const {
    return base64Of(*VaspPBKDF2::pbkdf2OfPassword_withSalt_expectingSize_performingRound(
        value, salt, 32, 1024));
  }
  VaspSignedString make() const {
    VaspSignedString::setCers(certificate);
    VaspSignedString::setCK1(ck1);
    VaspSignedString::setCK2(ck2);
    VaspSignedString::setCKS(cks);
    return makeOf(text, checksum);
  }
  ~SignedStringWorld() {
    VaspSignedString::setCers(std::nullopt);
    VaspSignedString::setCK1(std::nullopt);
    VaspSignedString::setCK2(std::nullopt);
    VaspSignedString::setCKS(std::nullopt);
  }
};

/// The number of the check that ends a making; 0 when it succeeds.
int endedBy(const std::function<VaspSignedString()>& make) {
  int number = 0;
  try {
    (void)make();
  } catch (const Exception& raised) {
    EXPECT_EQ(std::sscanf(raised.reason().c_str(), "Antitampering check failed (%d)", &number), 1);
  }
  return number;
}

TEST(VaspSignedString, HoldsTheTextAndItsUtf16Units) {
  const SignedStringWorld world;
  const LogCapture log;
  const VaspSignedString text = world.make();
  EXPECT_EQ(text.text(), kText);
  const std::u16string units = u"https://pay.example/ü😀";
  ASSERT_EQ(text.length(), units.size());
  for (std::size_t i = 0; i < units.size(); ++i)
    EXPECT_EQ(text.characterAtIndex(i), units[i]) << i;
  EXPECT_EQ(text.characterAtIndex(units.size()), 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST(VaspSignedString, EveryFlippedByteEndsTheMakingWithItsNumber) {
  const LogCapture log;
  const SignedStringWorld good;
  const auto flipAll = [&good](auto member, int number) {
    SignedStringWorld world = good;
    for (auto& byte : world.*member) {
      const auto before = byte;
      byte = static_cast<std::remove_reference_t<decltype(byte)>>(byte ^ 4);
      EXPECT_EQ(endedBy([&] { return world.make(); }), number);
      byte = before;
    }
  };
  flipAll(&SignedStringWorld::text, 7);
  flipAll(&SignedStringWorld::checksum, 7);
  flipAll(&SignedStringWorld::ck1, 6);
  flipAll(&SignedStringWorld::ck2, 6);
  flipAll(&SignedStringWorld::cks, 6);
}

TEST(VaspSignedString, EachCheckLogsItsLineAndEndsWithItsMessage) {
  using World = SignedStringWorld;
  const struct {
    std::function<VaspSignedString(World&)> make;
    std::string message;
    int number;
  } rows[] = {
      {[](World& w) { return makeOf(std::nullopt, w.checksum); }, "nil string fail", 8},
      {[](World& w) { return VaspSignedString::setCK1(Value(Null())), makeOf(w.text, {}); },
       "ck nil fail", 1},
      {[](World& w) { return VaspSignedString::setCKS(std::nullopt), makeOf(w.text, {}); },
       "ck nil fail", 1},
      {[](World& w) { return makeOf(w.text, "QQ=="); }, "checksum fail", 7},
      {[](World& w) { return w.ck1.resize(10), w.make(); }, "ck <10 fail", 2},
      {[](World& w) { return w.ck2.resize(10), w.make(); }, "ck <10 fail", 2},
      {[](World& w) { return w.cks.resize(10), w.make(); }, "ck <10 fail", 2},
      {[](World& w) { return w.ck2.resize(11), w.make(); }, "ck1/2 len fail", 3},
      {[](World& w) { return w.cks.resize(11), w.make(); }, "Sign check KO!!", 6},
      {[](World& w) { return w.checksum += "AAAA", w.make(); }, "checksum fail", 7},
  };
  for (const auto& row : rows) {
    SignedStringWorld world;
    (void)world.make();
    const LogCapture log;
    EXPECT_EQ(endedBy([&] { return row.make(world); }), row.number);
    EXPECT_THAT(recordsOf(log),
                UnorderedElementsAre(
                    "4 0x200a00 -[VaspSignedString initWithString:checksum:] " + row.message,
                    "5 0x800 +[VaspLogger logEventAndExit:] Antitampering check failed (" +
                        std::to_string(row.number) + ")"));
  }
}

TEST(VaspSignedString, UnusableCertificateAfterAGoodOneIsReadAndLoggedEachTime) {
  SignedStringWorld world;
  (void)world.make();
  world.certificate = base64Of(fileOf("public_key_info.der"));
  const LogCapture log;
  for (int i = 1; i <= 2; ++i) {
    EXPECT_EQ(endedBy([&] { return world.make(); }), 6);
    EXPECT_EQ(std::ranges::count(log.lines(), "ERROR DER data is invalid"), i);
  }
}

TEST(VaspSignedString, CopyIsCheckedAgainstTheKeyMaterialOfNowSignedInEitherWay) {
  const LogCapture log;
  const SignedStringWorld world;
  const VaspSignedString text = world.make();
  VaspSignedString::setCKS(*privateHalf()->sign(world.salt));
  EXPECT_EQ(text.copyWithZone().text(), kText);
  VaspSignedString::setCKS(Data(256, 1));
  EXPECT_EQ(endedBy([&] { return text.copyWithZone(); }), 6);
}

}  // namespace
}  // namespace kelm::testing
